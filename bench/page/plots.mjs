// Makes the Vega-Lite descriptions of the plots and the rows of their tables from the record of a run.
//
// A point is {x or name, who, best, median, steady}.  A mark stands at the best value, and a thin line leads to the
// median.  A point that is not steady is in the table and not in the plot.
import { growth, operations, patternOf, widths } from './families.mjs';

export const config = {
  background: 'white',
  font: 'system-ui, sans-serif',
  axis: { labelFontSize: 12, titleFontSize: 12, titleFontWeight: 'normal', gridColor: '#eee' },
  title: { fontSize: 12, fontWeight: 'normal', anchor: 'start', color: '#444' },
  view: { stroke: '#ccc' },
};

// The palette of Okabe and Ito, whose colours also differ for people who see fewer colours.
const palette = {
  orange: '#e69f00',
  sky: '#56b4e9',
  green: '#009e73',
  blue: '#0072b2',
  vermilion: '#d55e00',
  purple: '#cc79a7',
  black: '#000000',
  grey: '#808080',
};

// The colour and the shape of each implementation.
export const implementations = {
  generic: [palette.grey, 'circle', '●'],
  'SSE4.2': [palette.orange, 'square', '■'],
  AVX: [palette.purple, 'triangle-down', '▼'],
  AVX2: [palette.green, 'triangle-up', '▲'],
  'AVX-512': [palette.blue, 'diamond', '◆'],
  DuckDB: [palette.vermilion, 'cross', '✚'],
  'newest DuckDB': [palette.sky, 'cross', '✚'],
  'plain read': [palette.black, 'stroke', '╌'],
};
const forms = { 'as stored': palette.blue, plain: palette.grey, 'in the file': palette.sky };

const nominal = (domain, range) => ({ field: 'who', type: 'nominal', scale: { domain, range } });
const shown = Object.keys(implementations);
const colour = { ...nominal(shown, Object.values(implementations).map(([code]) => code)), legend: null };
const shape = { ...nominal(shown, Object.values(implementations).map(([, form]) => form)), legend: null };
const dash = { condition: { test: "datum.who == 'plain read'", value: [4, 3] }, value: [1, 0] };
const tooltip = (place, title) => [
  { field: 'who', title: 'implementation' },
  place,
  { field: 'best', title, format: '.3g' },
  { field: 'median', title: 'median', format: '.3g' },
];

// The powers of ten are the numbers along logarithmic axes.
const powers = Array.from({ length: 10 }, (_, exponent) => 10 ** exponent);

const axes = {
  width: { title: 'width, bits', type: 'ordinal', axis: { labelAngle: 0, labelOverlap: true, labelSeparation: 5 } },
  bytes: { title: 'size, bytes', type: 'quantitative', scale: { type: 'log' }, axis: { format: '~s', values: powers } },
  rows: { title: 'rows', type: 'quantitative', scale: { type: 'log' }, axis: { format: '~s', values: powers } },
};
// The axis of the best values.  A line to a median far from them ends at the edge of the plot.
const valuesOf = (points, title) => {
  const values = points.map((p) => p.best).filter((best) => best > 0);
  return {
    field: 'best',
    type: 'quantitative',
    title,
    scale: { type: 'log', nice: false, padding: 8, ...(values.length > 0 && { domain: [Math.min(...values), Math.max(...values)] }) },
    axis: { format: '~g', tickCount: 5 },
  };
};

// Cycles for 64 rows at a clock rate, of a rate in 10^9 rows a second.
const inCycles = (ghz) => (rate) => ({ best: (64 * ghz) / rate.best, median: (64 * ghz) / rate.median, steady: rate.steady });
const measures = {
  cycles: { title: 'cycles for 64 rows', less: true, of: inCycles },
  rate: { title: '10⁹ rows a second', of: () => (rate) => rate },
};

const unit = { '': 1, K: 2 ** 10, M: 2 ** 20, G: 2 ** 30 };
const number = (text) => parseInt(text) * unit[text.replace(/\d+/, '')];

// The points of all implementations, and of the best plain read for each x.
function pointsOf(run, { name, measure }) {
  const pattern = new RegExp(patternOf(name));
  const { less, of } = measures[measure];
  const points = [];
  const reads = new Map();
  for (const k of run.kernels) {
    const x = number(k.benchmark.match(pattern)?.[1] ?? 'none');
    if (Number.isNaN(x)) continue;
    const measured = of(k.ghz);
    points.push({ x, who: k.implementation, ...measured(k.rate) });
    if (!k.read) continue;
    const read = measured(k.read);
    const before = reads.get(x) ?? read;
    reads.set(x, before.best < read.best === Boolean(less) ? before : read);
  }
  return [...points, ...[...reads].map(([x, read]) => ({ x, who: 'plain read', ...read }))].sort((a, b) => a.x - b.x);
}

// A line has a gap where a point is not steady.
const drawn = (points) => points.map((p) => (p.steady === false ? { ...p, best: null, median: null } : p));

const lines = (given, { axis, title, heading, width = 'container' }) => {
  const points = drawn(given);
  return {
    title: heading,
    width,
    height: 200,
    data: { values: points },
    encoding: { x: { field: 'x', ...axes[axis] }, y: valuesOf(points, title), color: colour },
    layer: [
      { mark: { type: 'rule', opacity: 0.6, clip: true }, encoding: { y2: { field: 'median' } } },
      { mark: 'line', encoding: { strokeDash: dash } },
      {
        mark: { type: 'point', filled: true, size: 28, opacity: 1 },
        encoding: { shape, tooltip: tooltip({ field: 'x', title: axes[axis].title }, title) },
      },
    ],
  };
};

// The names of rows stand above the marks, inside the plot, so that a narrow screen has room for both.
const longest = 58;
const wrapped = (text) =>
  text.split(' ').reduce((done, word) => {
    const last = done.at(-1);
    return last !== undefined && `${last} ${word}`.length <= longest ? [...done.slice(0, -1), `${last} ${word}`] : [...done, word];
  }, []).join('\n');

const rowsOf = (names) => ({
  field: 'name',
  type: 'nominal',
  sort: names,
  title: null,
  scale: { paddingOuter: 0.4 },
  axis: {
    labelExpr: "split(datum.label, '\\n')",
    labelAlign: 'left',
    labelBaseline: 'line-bottom',
    labelPadding: -4,
    labelLimit: 0,
    ticks: false,
    domain: false,
    zindex: 1,
  },
});
const lineHeight = 14;

const dots = (given, { title, heading }) => {
  const most = Math.max(...given.map(({ name }) => name.split('\n').length));
  const above = lineHeight * most;
  // Names with fewer lines get empty ones before them.
  const points = drawn(given).map((p) => ({ ...p, name: '\n'.repeat(most - p.name.split('\n').length) + p.name }));
  const hasNotes = points.some((p) => p.note);
  const y = rowsOf(points.map((p) => p.name));
  return {
    title: heading,
    width: 'container',
    height: { step: above + (hasNotes ? 36 : 22) },
    data: { values: points },
    encoding: {
      y: { ...y, axis: { ...y.axis, grid: true, labelOffset: 2 - above } },
      x: valuesOf(points, title),
      color: colour,
    },
    layer: [
      { mark: { type: 'rule', opacity: 0.6, strokeWidth: 2, clip: true }, encoding: { x2: { field: 'median' } } },
      {
        mark: { type: 'point', filled: true, size: 70, opacity: 0.9 },
        encoding: { shape, tooltip: tooltip({ field: 'name', title: ' ' }, title) },
      },
      ...(hasNotes
        ? [
            {
              transform: [{ filter: 'datum.note' }],
              mark: { type: 'text', align: 'right', dx: 6, dy: 13, fontSize: 11 },
              encoding: { text: { field: 'note' } },
            },
          ]
        : []),
    ],
  };
};

const bars = (points, { title }) => {
  const y = rowsOf(points.map((p) => p.name));
  return {
    width: 'container',
    height: { step: 14 },
    data: { values: points },
    mark: 'bar',
    encoding: {
      y: { ...y, scale: { paddingInner: 0.25, paddingOuter: 0.4 }, axis: { ...y.axis, labelOffset: -23 } },
      yOffset: { field: 'who', scale: { domain: Object.keys(forms) } },
      x: { field: 'best', type: 'quantitative', title, scale: { zero: true } },
      color: { ...nominal(Object.keys(forms), Object.values(forms)), title: null, legend: { orient: 'top' } },
      tooltip: [
        { field: 'who', title: 'what' },
        { field: 'name', title: ' ' },
        { field: 'best', title, format: '.3g' },
      ],
    },
  };
};

const rounded = (value) => Number(value.toPrecision(3)).toLocaleString('en');
const cell = ({ best, median, steady, note }) =>
  [rounded(best), median !== undefined && `(${rounded(median)})`, steady === false && '?', note].filter(Boolean).join(' ');

// A table with a row for each x or name and a column for each implementation.
function tableOf(panels, first) {
  const rows = [];
  for (const { heading, title, points, of = 'x' } of panels)
    for (const x of new Set(points.map((p) => p[of])))
      rows.push({
        [first]: x,
        ...(panels.length > 1 && { measure: [title, heading].filter(Boolean).join(', ') }),
        ...Object.fromEntries(points.filter((p) => p[of] === x).map((p) => [p.who, cell(p)])),
      });
  return rows;
}

// A figure of some panels.  A panel without points is left out.
function figureOf(title, plotted, panels, first) {
  const filled = panels.filter((panel) => panel.points.length > 0);
  return { title, plots: filled.map((panel) => plotted(panel.points, panel)), table: tableOf(filled, first), points: filled.flatMap((p) => p.points) };
}

const panelOf = (run, panel, axis) => ({ ...panel, axis, title: measures[panel.measure].title, points: pointsOf(run, panel) });

const familyOfLines = (run, { title, axis, panels }) =>
  figureOf(title, lines, panels.map((panel) => panelOf(run, panel, axis)), axes[axis].title);

function familyOfDots(run, { title, names }) {
  const points = Object.entries(names).flatMap(([name, benchmark]) =>
    run.kernels
      .filter((k) => k.benchmark === benchmark)
      .map((k) => ({ name, who: k.implementation, ...inCycles(k.ghz)(k.rate) })),
  );
  return figureOf(title, dots, [{ title: measures.cycles.title, points, of: 'name' }], 'operation');
}

function queryTimes(run) {
  const counts = [...new Set(run.answers.map((a) => a.threads))];
  const panels = counts.map((threads) => ({
    heading: threads === 1 ? '1 thread' : `${threads} threads`,
    title: 'milliseconds',
    points: run.answers
      .filter((a) => a.threads === threads)
      .map((a) => ({ name: wrapped(a.query), who: a.implementation, note: a.read, ...a.ms })),
    of: 'name',
  }));
  return figureOf('Flights and airports', dots, panels, 'query');
}

const geometricMean = (values) => Math.exp(values.reduce((sum, value) => sum + Math.log(value), 0) / values.length);

// The queries of TPC-H, and the mean of all of them for each implementation that answered all.
function tpchOf({ times }) {
  const names = [...new Set(times.map((time) => time.query))];
  const panels = [...new Set(times.map((time) => time.threads))].map((threads) => {
    const here = times.filter((time) => time.threads === threads);
    const means = [...new Set(here.map((time) => time.implementation))].flatMap((who) => {
      const all = here.filter((time) => time.implementation === who);
      const mean = (field) => geometricMean(all.map(({ ms }) => ms[field]));
      return all.length === names.length ? [{ name: 'geometric mean', who, best: mean('best'), median: mean('median') }] : [];
    });
    const points = here.map(({ query, implementation: who, ms }) => ({ name: `Q${Number(query)}`, who, ...ms }));
    return { heading: threads === 1 ? '1 thread' : `${threads} threads`, title: 'milliseconds', points: [...points, ...means], of: 'name' };
  });
  return figureOf('TPC-H', dots, panels, 'query');
}

function growingJoin(run) {
  const points = run.joins.map((join) => ({ x: join.rows, who: join.implementation, ...join.ns_a_row }));
  const heading = `${run.joins[0]?.keys.toLocaleString('en')} keys`;
  const panel = { axis: 'rows', title: 'nanoseconds a row', heading, points };
  return figureOf('With the number of rows of a join; less is better', lines, [panel], axes.rows.title);
}

function sizes({ table, rows, file_bytes: fileBytes, columns }) {
  const sum = (field) => columns.reduce((all, column) => all + column[field], 0);
  const named = columns.map((c) => ({ ...c, name: `${c.column}: ${c.encoding}, ${c.width} bits` }));
  const all = { name: 'all', bytes: sum('bytes'), plain_bytes: sum('plain_bytes'), file_bytes: fileBytes };
  const points = [...named, all].flatMap((c) =>
    Object.entries({ 'as stored': c.bytes, 'in the file': c.file_bytes, plain: c.plain_bytes })
      .filter(([, bytes]) => bytes)
      .map(([who, bytes]) => ({ name: c.name, best: (8 * bytes) / rows, who })),
  );
  return figureOf(`${table}, ${rows.toLocaleString('en')} rows`, bars, [{ title: 'bits a row', points, of: 'name' }], 'column');
}

// A plot for use without the page: the panels of the first family, with a legend and the machine.
export function lonePlot(run) {
  const { title, axis, panels } = widths[0];
  const views = panels.map((panel) => {
    const described = panelOf(run, panel, axis);
    return lines(described.points, { ...described, width: 400 });
  });
  const values = shown.filter((who) => who === 'plain read' || run.kernels.some((k) => k.implementation === who));
  const legend = { title: null, orient: 'bottom', values, symbolOpacity: 1 };
  for (const view of views) {
    view.encoding.color = { ...colour, legend };
    view.layer.at(-1).encoding.shape = { ...shape, legend };
  }
  return {
    config: { ...config, aria: false }, // the file then has a third of the size
    title: { text: title, subtitle: `${run.machine.processor}; ${run.machine.compiler}`, fontWeight: 'bold' },
    hconcat: views,
  };
}

// The sections of the page.  Each figure has descriptions of its plots and a table.
export function sectionsOf(run) {
  return [
    {
      title: 'Queries beside DuckDB',
      text: `${run.tables.map((t) => `${t.table} (${t.rows.toLocaleString('en')} rows)`).join(' and ')}, in memory; less is
        better.  Every answer equals the answer of DuckDB.  DuckDB is timed with a plain table and with a compressed
        table, and the faster one is shown and named.  Pages from before this comparison show the plain table only.  It
        takes DuckDB several times as long for conditions on text columns.`,
      figures: [queryTimes(run)],
    },
    {
      title: 'TPC-H beside DuckDB',
      text: `The 22 queries over ${run.tpch.tables}, in memory; less is better.  A time is of the execution of a query whose plan is
        there, up to the last row.  DuckDB plans for both.  It is timed with plain tables and with compressed ones, and the
        faster ones are shown.  Its versions: ${Object.entries(run.tpch.versions).map(([who, version]) => `${who} is ${version}`).join(', ')}.`,
      figures: [tpchOf(run.tpch)],
    },
    {
      title: 'Kernels by width',
      text: `Cycles: less is better.  Rows a second: more is better.  The dashed line is a plain read of the same bytes by
        the widest loads, timed in turn with the kernels.  Out of cache it is the speed of the memory.`,
      figures: widths.map((family) => familyOfLines(run, family)),
    },
    {
      title: 'Other operations',
      text: '65,536 elements, or bits of a vector, in cache; less is better.',
      figures: operations.map((family) => familyOfDots(run, family)),
    },
    {
      title: 'Growth',
      text: `More is better, except for the join.  The dashed line reads one byte of each bucket, or each byte of a map that
        the kernel needs, or the stream of the scan.`,
      figures: [...growth.map((family) => familyOfLines(run, family)), growingJoin(run)].sort((a, b) => a.plots.length - b.plots.length),
    },
    {
      title: 'Compression',
      text: `The size of a row: in the form that scans and joins work on, in arrays of plain values, and, for all columns
        together, in the Parquet file if there is one.`,
      figures: run.tables.map(sizes),
    },
  ]
    .map((section) => ({ ...section, figures: section.figures.filter((figure) => figure.plots.length > 0) }))
    .filter((section) => section.figures.length > 0);
}

// Says how far the points of a run can be trusted, and whether the machine did other work.
export function noiseOf(run, sections) {
  const points = sections.flatMap((s) => s.figures.flatMap((f) => f.points)).filter((p) => p.median !== undefined);
  const share = (some) => Math.round((100 * some.length) / Math.max(1, points.length));
  const apart = share(points.filter((p) => Math.max(p.best, p.median) > 1.1 * Math.min(p.best, p.median)));
  const unsteady = points.filter((p) => p.steady === false).length;
  const [, load, processors] = run.machine.load?.match(/^([\d.]+).* of (\d+) processors/) ?? [];
  return {
    isBusy: apart > 10 || Number(load) > Number(processors) / 2,
    text: `In ${apart} % of ${points.length.toLocaleString('en')} points the median is more than 10 % worse than the best
      repetition.  The plots leave out a point if no second repetition came within 10 % of the best.  This is so for
      ${unsteady.toLocaleString('en')} points, which the tables mark with a question mark.`,
  };
}
