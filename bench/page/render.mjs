// Makes the page of a run from its record.  The folder of the page gets all files that the page needs.
//   node render.mjs RUN.json FOLDER
import fs from 'node:fs';
import path from 'node:path';

import { config, implementations, noiseOf, sectionsOf } from './plots.mjs';

const [record, folder] = process.argv.slice(2);
const here = import.meta.dirname;
const run = JSON.parse(fs.readFileSync(record));

const escaped = (text) => String(text).replace(/[&<>"]/g, (c) => `&#${c.charCodeAt(0)};`);
const html = (parts, ...values) => String.raw({ raw: parts }, ...values.map((v) => (Array.isArray(v) ? v.join('') : v)));
const shown = (value) => (typeof value === 'number' ? value.toLocaleString('en') : (value ?? ''));

function table(rows) {
  const columns = [...new Set(rows.flatMap(Object.keys))];
  const cells = (tag, values) => html`<tr>${values.map((value) => `<${tag}>${escaped(shown(value))}</${tag}>`)}</tr>`;
  return html`<div class="scrolls"><table>${cells('th', columns)}${rows.map((row) => cells('td', columns.map((column) => row[column])))}</table></div>`;
}

const plots = [];
const figure = ({ title, plots: drawn, table: rows }) => html`
<figure style="--plots: ${drawn.length}">
<figcaption>${escaped(title)}</figcaption>
<div class="plots">${drawn.map((plot) => `<div class="plot" id="plot-${plots.push(plot) - 1}"></div>`)}</div>
<details><summary>table</summary>${table(rows)}</details>
</figure>`;

const section = ({ title, text, figures }) => html`
<section>
<h2>${escaped(title)}</h2>
<p>${escaped(text)}</p>
<div class="figures">${figures.map(figure)}</div>
</section>`;

const facts = (machine) => html`<dl>${Object.entries(machine).map(([name, value]) => `<dt>${escaped(name)}</dt><dd>${escaped(value)}</dd>`)}</dl>`;
const known = new Set([...run.kernels, ...run.answers, ...run.joins, ...run.tpch.times].map((m) => m.implementation)).add('plain read');
const legend = html`<p class="legend">${Object.entries(implementations)
  .filter(([name]) => known.has(name))
  .map(([name, [code, , sign]]) => `<span style="--colour: ${code}"><i>${sign}</i> ${name}</span>`)}</p>`;

const sections = sectionsOf(run);
const noise = noiseOf(run, sections);
const parts = {
  machine: facts(run.machine),
  noise: `<p${noise.isBusy ? ' class="warning"><strong>The machine was busy. Do not compare small differences.</strong> ' : '>'}${escaped(noise.text)}</p>`,
  legend,
  sections: sections.map(section).join(''),
  plots: JSON.stringify(plots.map((plot) => ({ config, ...plot }))).replaceAll('<', '\\u003c'),
};
const template = fs.readFileSync(path.join(here, 'template.html'), 'utf8');

fs.mkdirSync(folder, { recursive: true });
fs.writeFileSync(path.join(folder, 'index.html'), template.replace(/\{\{(\w+)\}\}/g, (_, name) => parts[name]));
for (const file of ['page.css', 'page.js', ...['vega', 'vega-lite', 'vega-embed'].map((name) => `node_modules/${name}/build/${name}.min.js`)])
  fs.copyFileSync(path.join(here, file), path.join(folder, path.basename(file)));
