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

// The least time of all repetitions of a benchmark, and the least time of the plain read beside it.
function kernels() {
  const best = new Map();
  for (const name of files(/^bench-.*\.json$/))
    for (const run of read(name).benchmarks.filter((b) => b.run_type === 'iteration')) {
      const [group, subject, library] = run.run_name.split('/');
      const grows = run['Grows/s'] ?? run['Gbit/s'];
      const share = run.of_read ?? run.of_touch;
      const measured = {
        benchmark: `${group}/${subject}`,
        implementation: nameOf(library),
        cycles: run['cycles/64'],
        grows,
        ...(share && { read_cycles: run['cycles/64'] * share, read_grows: grows / share }),
      };
      const key = run.run_name;
      const before = best.get(key) ?? measured;
      for (const [what, value] of Object.entries(measured))
        if (typeof value === 'number') before[what] = (/cycles/.test(what) ? Math.min : Math.max)(before[what], value);
      best.set(key, before);
    }
  return [...best.values()];
}

// The answers of vornq for each number of threads, and the queried tables.
function queries() {
  const runs = files(/^queries-.*\.json$/).map(read);
  const tables = new Map(runs.flatMap((run) => run.tables).map((table) => [table.table, table]));
  return {
    tables: [...tables.values()],
    answers: runs.flatMap((run) =>
      run.answers.flatMap(({ question, engines }) =>
        engines.map(({ engine, least_ms }) => ({
          threads: run.threads,
          question: run.tables.length === 1 ? question : `${question} (joined)`,
          implementation: nameOf(engine),
          least_ms,
        })),
      ),
    ),
  };
}

const joins = () =>
  files(/^join-.*\.json$/)
    .map(read)
    .flatMap(({ kernels, keys, joins }) => joins.map((join) => ({ implementation: nameOf(kernels), keys, ...join })));

console.log(
  JSON.stringify(
    {
      machine: Object.fromEntries(lines('machine.txt').map((line) => line.split(/: (.*)/))),
      kernels: kernels(),
      ...queries(),
      joins: joins(),
    },
    (_, value) => (typeof value === 'number' ? Number(value.toPrecision(5)) : value),
    1,
  ),
);
