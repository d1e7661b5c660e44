// Draws the plots of the page.  The body ends up with data-state "drawn", or "failed" when one could not be.
const config = {
  font: 'system-ui, sans-serif',
  axis: { labelFontSize: 11, titleFontSize: 11, titleFontWeight: 'normal', gridColor: '#eee' },
  title: { fontSize: 12, fontWeight: 'normal', anchor: 'start', color: '#444' },
  view: { stroke: '#ccc' },
};

const specs = JSON.parse(document.getElementById('specs').textContent);
const draw = async (spec, index) => {
  const place = document.getElementById(`plot-${index}`);
  try {
    await vegaEmbed(place, spec, { renderer: 'svg', actions: false, config });
  } catch (error) {
    place.classList.add('failed');
    place.textContent = `This plot could not be drawn: ${error.message}`;
    throw error;
  }
};

Promise.all(specs.map(draw)).then(
  () => (document.body.dataset.state = 'drawn'),
  () => (document.body.dataset.state = 'failed'),
);
