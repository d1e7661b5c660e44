// Makes the record of a run, on standard output, of what the measuring programs wrote into a folder.
//   node collect.mjs FOLDER
import fs from 'node:fs';
import path from 'node:path';

const folder = process.argv[2];
const read = (name) => JSON.parse(fs.readFileSync(path.join(folder, name)));
const lines = (name) => fs.readFileSync(path.join(folder, name), 'utf8').trim().split('\n');
const files = (pattern) => fs.readdirSync(folder).filter((name) => pattern.test(name)).sort();

const libraries = {
  generic: 'generic',
  svxlsse4219: 'SSE4.2',
  svxlavx19: 'AVX',
  svxlavx219: 'AVX2',
  svxlavx51219: 'AVX-512',
};

// The least time of the repetitions of a benchmark, and the least of the plain read beside it.
function kernels() {
  const best = new Map();
  for (const name of files(/^bench-.*\.json$/))
    for (const run of read(name).benchmarks.filter((b) => b.run_type === 'iteration')) {
      const [group, subject, library] = run.run_name.split('/');
      const grows = run['Grows/s'] ?? run['Gbit/s'];
      const share = run.of_read ?? run.of_touch;
      const measured = {
        benchmark: `${group}/${subject}`,
        implementation: libraries[library],
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

console.log(
  JSON.stringify(
    {
      machine: Object.fromEntries(lines('machine.txt').map((line) => line.split(/: (.*)/))),
      kernels: kernels(),
      queries: files(/^queries-.*\.json$/).map(read),
      joins: files(/^join-.*\.json$/).map(read),
    },
    (_, value) => (typeof value === 'number' ? Number(value.toPrecision(5)) : value),
    1,
  ),
);
