// ---- the whole trace in small ------------------------------------------------------------------------------------

let overviewDirty = true;
let overviewImage = null;
function drawOverview() {
  const { pen, width, height } = sized(overview);
  const [first, last] = limits();
  const xOf = (position) => (position - first) / (last - first) * width;
  if (overviewDirty) {
    overviewDirty = false;
    const columns = Math.max(1, Math.floor(width));
    const all = new Uint32Array(columns), bad = new Uint32Array(columns);
    for (let row = 0; row < rows.length; row++) {
      const x = Math.min(columns - 1, Math.max(0, Math.floor(xOf(at(row)))));
      all[x]++;
      if (isError(records[rows[row]])) bad[x]++;
    }
    overviewImage = { all, bad, most: all.reduce((a, b) => Math.max(a, b), 1) };
  }
  const { all, bad, most } = overviewImage;
  const from = xOf(view.from), to = Math.max(xOf(view.to), xOf(view.from) + 3);
  pen.fillStyle = colours.chosen;
  pen.fillRect(from, 0, to - from, height);
  const tall = (count) => Math.max(2, Math.sqrt(count / most) * (height - 8));
  pen.fillStyle = colours.request;
  all.forEach((count, x) => { if (count) pen.fillRect(x, height - tall(count), 1, tall(count)); });
  pen.fillStyle = colours.error;
  bad.forEach((count, x) => {
    const red = Math.max(3, count / all[x] * tall(all[x]));
    if (count) pen.fillRect(x, height - red, 2, red);
  });
  pen.strokeStyle = colours.accent;
  pen.lineWidth = 1;
  pen.strokeRect(Math.round(from) + 0.5, 0.5, Math.max(2, Math.round(to - from) - 1), height - 1);
}
let choosingFrom = null;
const overviewPosition = (event) => {
  const box = overview.getBoundingClientRect();
  const [first, last] = limits();
  return first + (event.clientX - box.left) / box.width * (last - first);
};
overview.addEventListener('pointerdown', (event) => {
  overview.setPointerCapture(event.pointerId);
  choosingFrom = { position: overviewPosition(event), x: event.clientX };
});
overview.addEventListener('pointermove', (event) => {
  if (!choosingFrom || Math.abs(event.clientX - choosingFrom.x) < 4) return;
  const position = overviewPosition(event);
  setView(Math.min(choosingFrom.position, position), Math.max(choosingFrom.position, position));
});
overview.addEventListener('pointerup', (event) => {
  if (choosingFrom && Math.abs(event.clientX - choosingFrom.x) < 4) {
    const size = view.to - view.from;
    setView(choosingFrom.position - size / 2, choosingFrom.position + size / 2);
  }
  choosingFrom = null;
});

// ---- pointer and keys on the chart -------------------------------------------------------------------------------

function positionAt(event) {
  const box = chart.getBoundingClientRect();
  return view.from + (event.clientY - box.top - HEAD) / (box.height - HEAD) * (view.to - view.from);
}
function recordAt(event) {
  const box = chart.getBoundingClientRect();
  const position = positionAt(event);
  const row = rowAtOrAfter(position);
  let best = -1, nearest = 9;  // pixels
  for (const candidate of [row - 1, row]) {
    if (candidate < 0 || candidate >= rows.length) continue;
    const away = Math.abs(yOf(at(candidate), box.height) - (event.clientY - box.top));
    if (away < nearest) { nearest = away; best = rows[candidate]; }
  }
  return best;
}
let dragging = null;
chart.addEventListener('pointerdown', (event) => {
  chart.setPointerCapture(event.pointerId);
  dragging = { y: event.clientY, from: view.from, to: view.to, moved: false };
});
chart.addEventListener('pointermove', (event) => {
  if (!dragging) { showTip(event); return; }
  if (Math.abs(event.clientY - dragging.y) > 4) dragging.moved = true;
  if (!dragging.moved) return;
  chart.classList.add('dragging');
  byId('tip').hidden = true;
  const by = (dragging.y - event.clientY) / (chart.clientHeight - HEAD) * (dragging.to - dragging.from);
  setView(dragging.from + by, dragging.to + by);
});
const endDrag = (event) => {
  const click = dragging && !dragging.moved;
  dragging = null;
  chart.classList.remove('dragging');
  if (!click || event.type !== 'pointerup') return;
  const record = recordAt(event);
  choose(record, false);
};
chart.addEventListener('pointerup', endDrag);
chart.addEventListener('pointercancel', endDrag);
chart.addEventListener('pointerleave', () => { byId('tip').hidden = true; });
chart.addEventListener('dblclick', (event) => zoom(0.4, positionAt(event)));
chart.addEventListener('wheel', (event) => {
  event.preventDefault();
  const by = event.deltaMode === 0 ? event.deltaY : event.deltaY * 20;
  if (event.ctrlKey || event.metaKey) zoom(Math.exp(by * 0.002), positionAt(event));
  else move(by / (chart.clientHeight - HEAD) * 0.8);
}, { passive: false });
function showTip(event) {
  const record = recordAt(event);
  const tip = byId('tip');
  tip.hidden = record < 0;
  if (record < 0) return;
  tip.textContent = seconds(records[record].time) + '  ' + labelOf(records[record]).slice(0, 160);
  const box = chart.getBoundingClientRect();
  tip.style.left = Math.min(event.clientX - box.left + 14, Math.max(0, box.width - tip.offsetWidth - 4)) + 'px';
  tip.style.top = Math.min(event.clientY - box.top + 14, box.height - 28) + 'px';
}

function step(by) {
  if (rows.length === 0) return;
  const row = chosen >= 0 && rowOf[chosen] >= 0 ? rowOf[chosen] + by : rowAtOrAfter(view.from);
  choose(rows[Math.min(rows.length - 1, Math.max(0, row))], true);
}
function stepExchange(by) {
  const now = chosen >= 0 ? chosen : rows.length ? rows[Math.min(rows.length - 1, rowAtOrAfter(view.from))] - by : -1;
  const starts = chosenExchanges.map((exchange) => exchange.parts[0].record);
  const own = chosen >= 0 && records[chosen].exchange >= 0 ? exchanges[records[chosen].exchange].parts[0].record : now;
  const next = by > 0 ? starts.find((start) => start > own) : starts.filter((start) => start < own).pop();
  if (next !== undefined) choose(next, true);
}
function stepError(by) {
  const now = chosen >= 0 ? chosen : by > 0 ? -1 : records.length;
  const own = chosen >= 0 && records[chosen].exchange >= 0 ? exchanges[records[chosen].exchange].parts[0].record : now;
  const places = errors.map((error) => error.record);
  const next = by > 0 ? places.find((place) => place > Math.max(own, now)) : places.filter((place) => place < Math.min(own, now)).pop();
  if (next !== undefined) choose(next, true);
}
const keys = {
  '+': () => zoom(0.6), '=': () => zoom(0.6), '-': () => zoom(1 / 0.6), 0: fit, Home: () => setView(limits()[0], limits()[0] + view.to - view.from),
  End: () => setView(limits()[1] - (view.to - view.from), limits()[1]), PageUp: () => move(-0.9), PageDown: () => move(0.9),
  n: () => stepExchange(1), p: () => stepExchange(-1), e: () => stepError(1), E: () => stepError(-1), z: zoomToChosen,
  a: () => setAxis(axis === 'time' ? 'steps' : 'time'), t: toggleTheme, Escape: () => choose(-1, false),
  '/': () => byId('text').focus(), '?': () => byId('help').showModal(),
};
const chartKeys = { ArrowDown: () => step(1), ArrowUp: () => step(-1), Enter: () => byId('detail').focus() };
document.addEventListener('keydown', (event) => {
  if (event.ctrlKey || event.metaKey || event.altKey || byId('help').open) return;
  if (event.target.closest('input, select, textarea')) return;
  const inRows = event.target === rowsBox, inDetail = event.target.closest('#detail');
  if (inDetail && ['Home', 'End', 'PageUp', 'PageDown'].includes(event.key)) return;
  const act = (event.target === chart && chartKeys[event.key]) || (inRows && rowKeys[event.key]) || keys[event.key];
  if (!act) return;
  event.preventDefault();
  act();
});
