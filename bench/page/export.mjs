// Draws the plot of a run that the README shows, as SVG on standard output.
//   node export.mjs RUN.json
import fs from 'node:fs';

import * as vega from 'vega';
import { compile } from 'vega-lite';

import { lonePlot } from './plots.mjs';

const run = JSON.parse(fs.readFileSync(process.argv[2]));
const [plot] = Object.values(compile(lonePlot(run))); // what vega draws, before notes of how it was made
console.log(await new vega.View(vega.parse(plot), { renderer: 'none' }).toSVG());
