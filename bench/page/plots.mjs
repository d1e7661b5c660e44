// Vega-Lite descriptions of the plots and the rows of the tables below them, made of the record of a run.
import { growth, operations, patternOf, widths } from './families.mjs';

export const colours = {
  generic: '#8c8c8c',
  'SSE4.2': '#e0a030',
  AVX: '#b5651d',
  AVX2: '#2a9d5c',
  'AVX-512': '#1f5fbf',
  DuckDB: '#c0392b',
  'plain read': '#000000',
};

const colour = {
  field: 'who',
  type: 'nominal',
  scale: { domain: Object.keys(colours), range: Object.values(colours) },
  legend: null,
};
const dash = {
  condition: { test: "datum.who == 'plain read'", value: [4, 3] },
  value: [1, 0],
};
const tooltip = (...fields) => fields.map(([field, title]) => ({ field, title, ...(field === 'y' && { format: '.3g' }) }));

const axes = {
  width: { title: 'width, bits', type: 'ordinal', axis: { labelAngle: 0, labelOverlap: true } },
  bytes: { title: 'size, bytes', type: 'quantitative', scale: { type: 'log' }, axis: { format: '.0s', tickCount: 5 } },
  rows: { title: 'rows', type: 'quantitative', scale: { type: 'log' }, axis: { format: '.0s', tickCount: 5 } },
};
const measures = {
  cycles: { title: 'cycles for 64 rows', read: 'read_cycles', best: Math.min },
  grows: { title: '10⁹ rows a second', read: 'read_grows', best: Math.max },
};

const unit = { '': 1, K: 2 ** 10, M: 2 ** 20, G: 2 ** 30 };
const number = (text) => parseInt(text) * unit[text.replace(/\d+/, '')];

// Points of all implementations, and of the best plain read of each x.
function pointsOf(run, { name, measure }) {
  const pattern = new RegExp(patternOf(name));
  const { read, best } = measures[measure];
  const points = [];
  const reads = new Map();
  for (const k of run.kernels) {
    const x = number(k.benchmark.match(pattern)?.[1] ?? 'none');
    if (Number.isNaN(x)) continue;
    points.push({ x, y: k[measure], who: k.implementation });
    if (k[read]) reads.set(x, best(reads.get(x) ?? k[read], k[read]));
  }
  return [...points, ...[...reads].map(([x, y]) => ({ x, y, who: 'plain read' }))].sort((a, b) => a.x - b.x);
}

const lines = (points, { axis, title, heading, width = 300 }) => ({
  title: heading,
  width,
  height: 190,
  data: { values: points },
  mark: { type: 'line', point: { size: 22 }, clip: false },
  encoding: {
    x: { field: 'x', ...axes[axis] },
    y: { field: 'y', type: 'quantitative', title, scale: { type: 'log' }, axis: { format: '~g', tickCount: 5 } },
    color: colour,
    strokeDash: dash,
    tooltip: tooltip(['who', 'implementation'], ['x', axes[axis].title], ['y', title]),
  },
});

const dots = (points, { title, names, width = 420, facet }) => ({
  width,
  height: { step: 24 },
  data: { values: points },
  mark: { type: 'point', filled: true, size: 70, opacity: 0.85 },
  encoding: {
    y: { field: 'name', type: 'nominal', sort: names, title: null, axis: { grid: true, labelLimit: 320 } },
    x: { field: 'y', type: 'quantitative', title, scale: { type: 'log' }, axis: { format: '~g', tickCount: 5 } },
    color: colour,
    shape: {
      condition: { test: "datum.who == 'plain read'", value: 'stroke' },
      value: 'circle',
    },
    tooltip: tooltip(['who', 'implementation'], ['name', ' '], ['y', title]),
    ...(facet && { column: { field: facet, type: 'nominal', title: null } }),
  },
});

// A line for each x, a column for each implementation.
function tableOf(panels, first) {
  const rows = [];
  for (const { heading, points, of = 'x' } of panels)
    for (const x of new Set(points.map((p) => p[of])))
      rows.push({
        [first]: x,
        ...(panels.length > 1 && { measure: heading }),
        ...Object.fromEntries(points.filter((p) => p[of] === x).map((p) => [p.who, p.y])),
      });
  return rows;
}

function familyOfLines(run, { title, axis, panels }) {
  const drawn = panels
    .map((panel) => ({
      heading: panel.measure === 'cycles' ? '65,536 rows in cache' : panel.heading,
      title: measures[panel.measure].title,
      points: pointsOf(run, panel),
      axis,
    }))
    .filter((panel) => panel.points.length > 0);
  return {
    title,
    spec: { hconcat: drawn.map((panel) => lines(panel.points, { ...panel, width: drawn.length > 3 ? 215 : 300 })) },
    table: tableOf(
      drawn.map((p) => ({ ...p, heading: `${p.title}, ${p.heading}` })),
      axes[axis].title,
    ),
  };
}

function familyOfDots(run, { title, names }) {
  const points = Object.entries(names).flatMap(([name, benchmark]) =>
    run.kernels
      .filter((k) => k.benchmark === benchmark)
      .map((k) => ({ name, y: k.cycles, who: k.implementation })),
  );
  const heading = measures.cycles.title;
  return {
    title,
    spec: dots(points, { title: heading, names: Object.keys(names) }),
    table: tableOf([{ heading, points, of: 'name' }], 'operation'),
  };
}

// The sections of the page: figures with a description and a table each.
export function sectionsOf(run) {
  const drawn = (figures) => figures.filter((figure) => figure.table.length > 0);
  return [
    {
      title: 'Kernels by width',
      text: `Less is better on the left, more on the right.  The dashed line is a plain read of the same bytes, by the
        widest loads, timed in turn with the kernels; out of cache it is what memory gives.`,
      figures: drawn(widths.map((family) => familyOfLines(run, family))),
    },
    {
      title: 'Other operations',
      text: '65,536 elements, or bits of a vector, in cache; less is better.',
      figures: drawn(operations.map((family) => familyOfDots(run, family))),
    },
    {
      title: 'Growth',
      text: `More is better.  The dashed line touches one byte of each bucket or of each byte of a map that the kernel
        looks at, or reads the stream of the scan.`,
      figures: drawn(growth.map((family) => familyOfLines(run, family))),
    },
  ].filter((section) => section.figures.length > 0);
}
