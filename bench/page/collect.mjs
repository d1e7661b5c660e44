// Reads the files that the measuring programs wrote into a folder, and prints the record of the run.
//   node collect.mjs FOLDER
import fs from 'node:fs';
import path from 'node:path';

const folder = process.argv[2];
const read = (name) => JSON.parse(fs.readFileSync(path.join(folder, name)));
const lines = (name) => fs.readFileSync(path.join(folder, name), 'utf8').trim().split('\n');
const files = (pattern) => fs.readdirSync(folder).filter((name) => pattern.test(name)).sort();

// The shown names of implementations.  vorn_bench uses the names of the libraries, and vornq the names of the levels.
const names = {
  svxlsse4219: 'SSE4.2',
  svxlavx19: 'AVX',
  svxlavx219: 'AVX2',
  svxlavx51219: 'AVX-512',
  sse42: 'SSE4.2',
  avx: 'AVX',
  avx2: 'AVX2',
  avx512: 'AVX-512',
};
const nameOf = (name) => names[name] ?? name;

const middle = (values) => [...values].sort((a, b) => a - b)[values.length >> 1];

// What stands for repeated measurements: the least time, or the highest rate, and the median.  Noise only makes times
// longer, so the least time is close to the time without noise if a second repetition comes near it.
function summary(values, { more = false } = {}) {
  const sorted = [...values].sort((a, b) => (more ? b - a : a - b));
  const [best, next = best] = sorted;
  return { best, median: middle(values), steady: Math.max(best, next) <= 1.1 * Math.min(best, next) };
}

const grouped = (items, keyOf) => {
  const groups = new Map();
  for (const item of items) groups.set(keyOf(item), [...(groups.get(keyOf(item)) ?? []), item]);
  return [...groups.values()];
};

// The rates of all repetitions of each benchmark, and of the plain read beside it.  Cycles follow from the median clock
// rate of the repetitions, because one that was interrupted takes the clock for slower than it is.
function kernels() {
  const runs = files(/^bench-.*\.json$/).flatMap((name) => read(name).benchmarks.filter((b) => b.run_type === 'iteration'));
  return grouped(runs, (run) => run.run_name).map((repetitions) => {
    const [group, subject, library] = repetitions[0].run_name.split('/');
    const rates = repetitions.map((run) => run['Grows/s'] ?? run['Gbit/s']);
    const shares = repetitions.map((run) => run.of_read ?? run.of_touch);
    return {
      benchmark: `${group}/${subject}`,
      implementation: nameOf(library),
      ghz: middle(repetitions.map((run, i) => (run['cycles/64'] * rates[i]) / 64)),
      rate: summary(rates, { more: true }),
      ...(shares[0] && { read: summary(rates.map((rate, i) => rate / shares[i]), { more: true }) }),
    };
  });
}

// The answers of vornq for each number of threads, and the queried tables.
function queries() {
  const runs = files(/^queries-.*\.json$/).map(read);
  const tables = new Map(runs.flatMap((run) => run.tables).map((table) => [table.table, table]));
  return {
    tables: [...tables.values()],
    answers: runs.flatMap((run) =>
      run.answers.flatMap(({ query, engines }) =>
        engines.map(({ engine, least_ms: best, median_ms: median }) => {
          const [implementation, read] = engine.split(', ');
          return { threads: run.threads, query, implementation: nameOf(implementation), read, ms: { best, median } };
        }),
      ),
    ),
  };
}

const joins = () =>
  grouped(
    files(/^join-.*\.json$/)
      .map(read)
      .flatMap(({ kernels, keys, joins }) => joins.map((join) => ({ implementation: nameOf(kernels), keys, ...join }))),
    (join) => `${join.implementation} ${join.keys} ${join.rows}`,
  ).map((runs) => ({ ...runs[0], ns_a_row: summary(runs.map((run) => run.ns_a_row)) }));

// The times of the queries of TPC-H.  Of DuckDB's plain and compressed tables the faster ones count.  The first record is
// of vorn_tpch with the embedded DuckDB, the others are of another DuckDB alone.
function tpch() {
  const runs = files(/^tpch-.*\.json$/).map(read).sort((a, b) => b.times.length - a.times.length);
  const duckdbs = runs.map((_, i) => (i === 0 ? 'DuckDB' : 'newest DuckDB'));
  const times = runs.flatMap((run, i) =>
    run.times.map(({ query, threads, engine, least_ms: best, median_ms: median }) => {
      const [, read] = engine.match(/^DuckDB (.*)/) ?? [];
      return { query, threads, implementation: read ? duckdbs[i] : nameOf(engine), read, ms: { best, median } };
    }),
  );
  const fastest = (some) => some.reduce((a, b) => (b.ms.best < a.ms.best ? b : a));
  return {
    tables: runs[0]?.tables,
    versions: Object.fromEntries(runs.map((run, i) => [duckdbs[i], run.duckdb])),
    times: grouped(times, (time) => `${time.query} ${time.threads} ${time.implementation}`).map(fastest),
  };
}

console.log(
  JSON.stringify(
    {
      machine: Object.fromEntries(lines('machine.txt').map((line) => line.split(/: (.*)/).slice(0, 2))),
      kernels: kernels(),
      ...queries(),
      joins: joins(),
      tpch: tpch(),
    },
    (_, value) => (typeof value === 'number' ? Number(value.toPrecision(5)) : value),
    1,
  ),
);
