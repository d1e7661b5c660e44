// Draws the plot of the README and prints it as SVG.
//   node export.mjs RUN.json
import fs from 'node:fs';

import * as vega from 'vega';
import { compile } from 'vega-lite';

import { lonePlot } from './plots.mjs';

const run = JSON.parse(fs.readFileSync(process.argv[2]));
const [plot] = Object.values(compile(lonePlot(run))); // the first value is the plot, the others describe its compilation
console.log(await new vega.View(vega.parse(plot), { renderer: 'none' }).toSVG());
