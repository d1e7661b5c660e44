// What llvm-cov shows of conditions, as figures and a list:
//   node mcdc.mjs CONDITIONS EXCEPTIONS
// A condition of a decision with several is covered when two runs of the decision differ in it and in the outcome, the
// others being alike or not evaluated; a condition that is a decision of its own, when it was seen both ways.  One
// instantiation of a template has to show it, or one place of a macro.  What the compiler knows in every instantiation
// is not counted.
import { readFileSync } from 'node:fs';
import { relative } from 'node:path';

const linesOf = (file) => readFileSync(file, 'utf8').split('\n');
const [shown, listed] = process.argv.slice(2).map(linesOf);

// By place, "file:line:column".  An instantiation is an answer: whether it shows the condition covered.
const conditions = new Map();
let file, decision;
const at = (line, column) => {
  const place = `${file}:${line}:${column}`;
  if (!conditions.has(place)) conditions.set(place, { place, file, line, column, alone: [], independent: [] });
  return conditions.get(place);
};
for (const line of shown) {
  let found;
  if ((found = /^(\/.*):$/.exec(line))) {
    file = relative('.', found[1]);
  } else if ((found = /Branch \((\d+):(\d+)\): \[True: (\S+), False: (\S+)\]/.exec(line))) {
    at(found[1], found[2]).alone.push(found[3] !== '0' && found[4] !== '0');
  } else if (line.includes('MC/DC Decision Region')) {
    decision = [];
  } else if ((found = /Condition C(\d+) --> \((\d+):(\d+)\)/.exec(line))) {
    decision[found[1]] = at(found[2], found[3]);
  } else if ((found = /C(\d+)-Pair: (covered|not covered)/.exec(line))) {
    const condition = decision[found[1]];
    condition.number = `condition ${found[1]} of ${decision.length - 1}`;
    condition.independent.push(found[2] === 'covered');
  }
}

const counted = [];
for (const condition of conditions.values()) {
  const answers = condition.number ? condition.independent : condition.alone;
  if (answers.length === 0) continue;
  counted.push(Object.assign(condition, { covered: answers.includes(true), everywhere: !answers.includes(false) }));
}

const figures = (name, some) => {
  const apart = some.filter(({ number }) => number);
  const covered = (of) => `${of.filter((condition) => condition.covered).length} of ${of.length}`;
  console.log(
    `${name.padEnd(8)} ${covered(some).padStart(10)} conditions covered, ` +
      `${some.filter(({ everywhere }) => everywhere).length} in every instantiation; ` +
      `${covered(apart)} of decisions with several`,
  );
};
for (const folder of [...new Set(counted.map((condition) => condition.file.split('/')[0]))].sort())
  figures(folder, counted.filter((condition) => condition.file.startsWith(`${folder}/`)));
figures('all', counted);

// From a place to the end of the condition: a bracket that it does not open, or an operator outside of brackets.
const textOf = (condition) => {
  const rest = linesOf(condition.file).slice(condition.line - 1).join('\n').slice(condition.column - 1);
  let depth = 0;
  let end = 0;
  for (; end < rest.length; ++end) {
    if ('([{'.includes(rest[end])) ++depth;
    else if (')]}'.includes(rest[end]) && --depth < 0) break;
    else if (depth === 0 && /^(&&|\|\||[;?,]|(?<!:):(?!:))/.test(rest.slice(end)) && rest[end - 1] !== ':') break;
  }
  return rest.slice(0, end).replace(/\s+/g, ' ').trim();
};

// An exception is a file and a condition of it, and the reason on indented lines below.
const exceptions = new Set(listed.filter((line) => /^[^#\s]/.test(line)));
const stale = new Set(exceptions);
process.exitCode = counted.length === 0 ? 1 : 0;
let excepted = 0;
for (const condition of counted.filter(({ covered }) => !covered)) {
  const text = textOf(condition);
  stale.delete(`${condition.file} ${text}`);
  if (exceptions.has(`${condition.file} ${text}`)) {
    ++excepted;
    continue;
  }
  console.log(`${condition.place} ${condition.number ?? 'alone'}, not covered: ${text}`);
  process.exitCode = 1;
}
console.log(`${excepted} excepted in ${process.argv[3]}`);
for (const exception of stale) {
  console.log(`no exception any more: ${exception}`);
  process.exitCode = 1;
}
