// Makes the Vega-Lite descriptions of the plots and the rows of their tables from the record of a run.
import { growth, operations, patternOf, widths } from './families.mjs';

export const config = {
  background: 'white',
  font: 'system-ui, sans-serif',
  axis: { labelFontSize: 11, titleFontSize: 11, titleFontWeight: 'normal', gridColor: '#eee' },
  title: { fontSize: 12, fontWeight: 'normal', anchor: 'start', color: '#444' },
  view: { stroke: '#ccc' },
};

export const colours = {
  generic: '#8c8c8c',
  'SSE4.2': '#e0a030',
  AVX: '#b5651d',
  AVX2: '#2a9d5c',
  'AVX-512': '#1f5fbf',
  DuckDB: '#c0392b',
  'plain read': '#000000',
};

const forms = { 'as stored': '#7d3cb5', 'in the file': '#c9a6e0', plain: '#777777' };

const colouredBy = (codes) => ({
  field: 'who',
  type: 'nominal',
  scale: { domain: Object.keys(codes), range: Object.values(codes) },
});
const colour = { ...colouredBy(colours), legend: null };
const dash = {
  condition: { test: "datum.who == 'plain read'", value: [4, 3] },
  value: [1, 0],
};
const tooltip = (...fields) => fields.map(([field, title]) => ({ field, title, ...(field === 'y' && { format: '.3g' }) }));

// The powers of ten are the numbers along logarithmic axes.
const powers = Array.from({ length: 10 }, (_, exponent) => 10 ** exponent);

const axes = {
  width: { title: 'width, bits', type: 'ordinal', axis: { labelAngle: 0, labelOverlap: true } },
  bytes: { title: 'size, bytes', type: 'quantitative', scale: { type: 'log' }, axis: { format: '~s', values: powers } },
  rows: { title: 'rows', type: 'quantitative', scale: { type: 'log' }, axis: { format: '~s', values: powers } },
};
const measures = {
  cycles: { title: 'cycles for 64 rows', read: 'read_cycles', best: Math.min },
  grows: { title: '10⁹ rows a second', read: 'read_grows', best: Math.max },
};

const unit = { '': 1, K: 2 ** 10, M: 2 ** 20, G: 2 ** 30 };
const number = (text) => parseInt(text) * unit[text.replace(/\d+/, '')];

// The points of all implementations, and of the best plain read for each x.
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
    y: { field: 'y', type: 'quantitative', title, scale: { type: 'log', nice: false, padding: 8 }, axis: { format: '~g', tickCount: 5 } },
    color: colour,
    strokeDash: dash,
    tooltip: tooltip(['who', 'implementation'], ['x', axes[axis].title], ['y', title]),
  },
});

const dots = (points, { title, names, width = 330, labels = true }) => ({
  width,
  height: { step: 24 },
  data: { values: points },
  mark: { type: 'point', filled: true, size: 70, opacity: 0.85 },
  encoding: {
    y: { field: 'name', type: 'nominal', sort: names, title: null, axis: { grid: true, labels, labelLimit: 420 } },
    x: { field: 'y', type: 'quantitative', title, scale: { type: 'log', nice: false, padding: 8 }, axis: { format: '~g', tickCount: 5 } },
    color: colour,
    tooltip: tooltip(['who', 'implementation'], ['name', ' '], ['y', title]),
  },
});

const bars = (points, { title, names }) => ({
  width: 250,
  height: { step: 9 },
  data: { values: points },
  mark: { type: 'bar' },
  encoding: {
    y: { field: 'name', type: 'nominal', sort: names, title: null, axis: { labelLimit: 320 } },
    yOffset: { field: 'who', sort: Object.keys(forms) },
    x: { field: 'y', type: 'quantitative', title },
    color: { ...colouredBy(forms), title: null },
    tooltip: tooltip(['who', 'what'], ['name', ' '], ['y', title]),
  },
});

// A table with a row for each x and a column for each implementation.
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
    plot: { hconcat: drawn.map((panel) => lines(panel.points, { ...panel, width: drawn.length > 3 ? 205 : 300 })) },
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
    plot: dots(points, { title: heading, names: Object.keys(names) }),
    table: tableOf([{ heading, points, of: 'name' }], 'operation'),
  };
}

function questions(run) {
  const title = 'milliseconds';
  const counts = [...new Set(run.answers.map((a) => a.threads))];
  const names = [...new Set(run.answers.map((a) => a.question))];
  const panels = counts.map((threads) => ({
    heading: threads === 1 ? '1 thread' : `${threads} threads`,
    points: run.answers
      .filter((a) => a.threads === threads)
      .map((a) => ({ name: a.question, y: a.least_ms, who: a.implementation })),
    of: 'name',
  }));
  return {
    title: 'Flights and airports',
    plot: {
      resolve: { scale: { x: 'shared' } },
      hconcat: panels.map(({ heading, points }, index) => ({
        ...dots(points, { title, names, labels: index === 0 }),
        title: heading,
      })),
    },
    table: tableOf(panels, 'question'),
  };
}

function growingJoin(run) {
  const title = 'nanoseconds a row';
  const points = run.joins.map((join) => ({ x: join.rows, y: join.ns_a_row, who: join.implementation }));
  const heading = `join with ${run.joins[0]?.keys.toLocaleString('en')} keys`;
  return {
    title: 'With the number of rows of a join; less is better',
    plot: lines(points, { axis: 'rows', title, heading }),
    table: tableOf([{ heading, points }], axes.rows.title),
  };
}

function sizes({ table, rows, file_bytes: fileBytes, columns }) {
  const title = 'bits a row';
  const sum = (field) => columns.reduce((all, column) => all + column[field], 0);
  const named = columns.map((c) => ({ ...c, name: `${c.column}: ${c.encoding}, ${c.width} bits` }));
  const all = { name: 'all', bytes: sum('bytes'), plain_bytes: sum('plain_bytes'), file_bytes: fileBytes };
  const points = [...named, all].flatMap((c) =>
    Object.entries({ 'as stored': c.bytes, 'in the file': c.file_bytes, plain: c.plain_bytes })
      .filter(([, bytes]) => bytes)
      .map(([who, bytes]) => ({ name: c.name, y: (8 * bytes) / rows, who })),
  );
  const names = points.map((p) => p.name);
  return {
    title: `${table}, ${rows.toLocaleString('en')} rows`,
    plot: bars(points, { title, names }),
    table: tableOf([{ points, of: 'name' }], 'column'),
  };
}

// A plot for use without the page: two panels of the first family, with a legend and the machine.
export function lonePlot(run) {
  const { title, plot } = familyOfLines(run, widths[0]);
  const [cached, , streamed] = structuredClone(plot.hconcat);
  const shown = Object.keys(colours).filter((who) => who !== 'DuckDB');
  cached.encoding.color.legend = { title: null, orient: 'bottom', symbolType: 'stroke', values: shown };
  return {
    config: { ...config, aria: false }, // the file then has a third of the size
    title: { text: title, subtitle: `${run.machine.processor}; ${run.machine.compiler}`, fontWeight: 'bold' },
    hconcat: [cached, streamed],
  };
}

// The sections of the page.  Each figure has a description and a table.
export function sectionsOf(run) {
  const drawn = (figures) => figures.filter((figure) => figure.table.length > 0);
  return [
    {
      title: 'Kernels by width',
      text: `On the left less is better, on the right more is better.  The dashed line is a plain read of the same bytes
        by the widest loads, timed in turn with the kernels.  Out of cache it is the speed of the memory.`,
      figures: drawn(widths.map((family) => familyOfLines(run, family))),
    },
    {
      title: 'Other operations',
      text: '65,536 elements, or bits of a vector, in cache; less is better.',
      figures: drawn(operations.map((family) => familyOfDots(run, family))),
    },
    {
      title: 'Queries beside DuckDB',
      text: `${run.tables.map((t) => `${t.rows.toLocaleString('en')} ${t.table}`).join(' and ')}, in memory; less is
        better.  Every answer equals the answer of DuckDB.`,
      figures: drawn([questions(run)]),
    },
    {
      title: 'Growth',
      text: `More is better.  The dashed line reads one byte of each bucket, or each byte of a map that the kernel needs, or
        the stream of the scan.`,
      figures: drawn([...growth.map((family) => familyOfLines(run, family)), growingJoin(run)]),
    },
    {
      title: 'Compression',
      text: `The size of a row: in the form that scans and joins work on, in arrays of plain values, and, for all columns
        together, in the Parquet file if there is one.`,
      figures: drawn(run.tables.map(sizes)),
    },
  ].filter((section) => section.figures.length > 0);
}
