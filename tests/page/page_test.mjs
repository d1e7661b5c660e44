// Makes the benchmark page of recorded rates of kernels and of a small query and join, opens it in a browser and looks
// at what was drawn.
//   node page_test.mjs SOURCE_TREE FOLDER VORNQ VORN_JOIN_SCALE
import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';

const [tree, folder, vornq, joinScale] = process.argv.slice(2);
const page = path.join(tree, 'bench/page');
const inFolder = (name) => path.join(folder, name);
const output = (program, ...args) => execFileSync(program, args, { encoding: 'utf8', maxBuffer: 2 ** 26 });

if (spawnSync('chromium', ['--version']).error) {
  console.log('skipped: chromium is not installed; tools/benchmark-page installs it');
  process.exit(77);
}
output(path.join(tree, 'tools/fetch-data'), 'bench/page');
fs.rmSync(folder, { recursive: true, force: true });
fs.cpSync(path.join(import.meta.dirname, 'recorded'), inFolder('raw'), { recursive: true });
fs.writeFileSync(inFolder('towns.csv'), 'town,people\n"A""dorf\\",120\nBdorf,7000\n');
const query = 'select count(*), sum(people) from towns where town = \'A"dorf\\\'';
for (const threads of ['1', '2'])
  output(vornq, inFolder('towns.csv'), query, '--isa', 'generic', '--threads', threads, '--record', inFolder(`raw/queries-${threads}.json`));
output(joinScale, '--isa', 'generic', '--keys', '1000', '--rows', '1000', '--rows', '2000', '--record', inFolder('raw/join-generic.json'));
fs.writeFileSync(inFolder('run.json'), output('node', path.join(page, 'collect.mjs'), inFolder('raw')));
output('node', path.join(page, 'render.mjs'), inFolder('run.json'), folder);

const run = JSON.parse(fs.readFileSync(inFolder('run.json')));
const { ghz, rate, read } = run.kernels.find((k) => k.benchmark === 'in_cache/vorn_le_dict_8bit');
assert.deepEqual(rate, { best: 12, median: 11, steady: true }, 'the best of the repetitions, which another one confirms');
assert.deepEqual([ghz, read.best], [4, 120]);
assert.equal(run.answers[0].query, query);
assert.deepEqual(run.joins.map((join) => [join.keys, join.rows]), [[1000, 1000], [1000, 2000]]);

const browse = (width, how) => output(path.join(page, 'browse'), `--window-size=${width},3000`, how, inFolder('index.html'));
const drawn = browse(1280, '--dump-dom');
for (const width of [1280, 420]) {
  browse(width, `--screenshot=${inFolder(`page-${width}.png`)}`);
  const [, page] = browse(width, '--dump-dom').match(/data-width="(\d+)"/);
  assert.ok(Number(page) <= Math.max(width, 500), `nothing is wider than a window of ${width} pixels`);
}
assert.match(drawn, /<body data-state="drawn"/);
assert.ok(!drawn.includes('<b>'), 'what was measured is text');
const plots = drawn.split(/<div class="plot[ "]/).slice(1);
const marks = plots.map((plot) => plot.match(/aria-roledescription="(point|bar)"/g)?.length ?? 0);
// Queries of two engines on one thread, and on two.  Two queries of TPC-H and their mean, by three engines.  Kernels in cache and over a stream, with the reads beside them.
// Bits, without the rate that no second repetition confirms.  Probes and reads.  A scan.  Joins.  Two columns and both
// together, as stored and plain.
assert.deepEqual(marks, [2, 2, 9, 4, 2, 1, 4, 1, 2, 6]);
assert.match(drawn, /<td>count of ones<\/td>(<td>[\d.]+ \([\d.]+\)( \?)?<\/td>){2}/);
assert.match(drawn, / \?<\/td>/, 'that rate is in the table');
assert.match(drawn, /The machine was busy/, 'the load says so');
assert.match(drawn, /<td>geometric mean<\/td><td>4 \(8\)<\/td><td>2 \(3\)<\/td><td>1 \(1\)<\/td>/, 'of the faster tables');
assert.match(drawn, /(plain|compressed) tables/);
assert.ok(!/ d="[^"]*(NaN|Infinity|undefined)/.test(drawn), 'every mark has a place');
assert.match(drawn, /<tr><td>8<\/td><td>cycles for 64 rows[^/]*<\/td><td>21.3 \(23.3\)<\/td><td>2.13 \(2.33\)<\/td>/);
