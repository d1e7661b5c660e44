// Draws the plots of the page.  At the end the body has the size of its contents and data-state "drawn", or "failed" if a
// plot could not be drawn.
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

const end = (state) => {
  const { scrollWidth: width, scrollHeight: height } = document.documentElement;
  Object.assign(document.body.dataset, { state, width, height });
};
Promise.all(plots.map(draw)).then(() => end('drawn'), () => end('failed'));
