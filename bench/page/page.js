// Draws the plots of the page.  The body ends up with its height and with data-state "drawn", or "failed" when a plot
// could not be.
const plots = JSON.parse(document.getElementById('plots').textContent);
const draw = async (plot, index) => {
  const place = document.getElementById(`plot-${index}`);
  try {
    await vegaEmbed(place, plot, { renderer: 'svg', actions: false });
  } catch (error) {
    place.classList.add('failed');
    place.textContent = `This plot could not be drawn: ${error.message}`;
    throw error;
  }
};

const end = (state) => Object.assign(document.body.dataset, { state, height: document.documentElement.scrollHeight });
Promise.all(plots.map(draw)).then(() => end('drawn'), () => end('failed'));
