// ---- the chart ---------------------------------------------------------------------------------------------------

const chart = byId('chart');
const overview = byId('overview');
let axis = 'time';
const view = { from: 0, to: 1 };
let chosen = -1;  // a record
const HEAD = 24;
const NARROWEST = 2;  // of what the chart shows, in milliseconds or steps

const at = (row) => (axis === 'steps' ? row : timeOf[rows[row]]);
function limits() {
  if (axis === 'steps') return [-0.5, Math.max(rows.length - 0.5, 0.5)];
  const room = Math.max((lastTime - firstTime) * 0.01, 1);
  return [firstTime - room, lastTime + room];
}
function rowAtOrAfter(position) {
  let low = 0, high = rows.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (at(middle) < position) low = middle + 1;
    else high = middle;
  }
  return low;
}
function setView(from, to) {
  const [first, last] = limits();
  const size = Math.min(Math.max(to - from, NARROWEST), last - first);
  const start = Math.min(Math.max(from, first), last - size);
  view.from = start;
  view.to = start + size;
  draw();
}
function fit() { setView(...limits()); }
const AT_ONCE = 30;  // records of which each can be read
function showBeginning() {
  if (rows.length <= AT_ONCE) fit();
  else setView(limits()[0], at(AT_ONCE - 1) + NARROWEST / 2);
}
function zoom(factor, anchor = (view.from + view.to) / 2) {
  setView(anchor - (anchor - view.from) * factor, anchor + (view.to - anchor) * factor);
}
function move(part) { const by = (view.to - view.from) * part; setView(view.from + by, view.to + by); }
function reveal(row) {
  const position = at(row), size = view.to - view.from;
  if (position < view.from + size * 0.05 || position > view.to - size * 0.05) setView(position - size / 2, position + size / 2);
  else draw();
}
function zoomToChosen() {
  if (chosen < 0 || rowOf[chosen] < 0) return;
  const exchange = records[chosen].exchange >= 0 ? exchanges[records[chosen].exchange] : null;
  const inside = (exchange ? exchange.parts.map((part) => part.record) : [chosen]).filter((r) => rowOf[r] >= 0).map((r) => at(rowOf[r]));
  const from = Math.min(...inside), to = Math.max(...inside), room = Math.max((to - from) * 0.25, 1);
  setView(from - room, to + room);
}
function setAxis(name) {
  const middle = (view.from + view.to) / 2;
  const row = chosen >= 0 && rowOf[chosen] >= 0 ? rowOf[chosen] : Math.min(rowAtOrAfter(middle), rows.length - 1);
  axis = name;
  byId('axis-time').setAttribute('aria-pressed', String(axis === 'time'));
  byId('axis-steps').setAttribute('aria-pressed', String(axis === 'steps'));
  overviewDirty = true;
  fit();
  if (rows.length > 60 && row >= 0 && axis === 'steps') setView(row - 15, row + 15);
}

function sized(canvas) {
  const box = canvas.getBoundingClientRect();
  const ratio = window.devicePixelRatio || 1;
  const width = Math.max(1, Math.round(box.width * ratio)), height = Math.max(1, Math.round(box.height * ratio));
  if (canvas.width !== width || canvas.height !== height) {
    canvas.width = width;
    canvas.height = height;
    overviewDirty = true;
  }
  const pen = canvas.getContext('2d');
  pen.setTransform(ratio, 0, 0, ratio, 0, 0);
  pen.clearRect(0, 0, box.width, box.height);
  return { pen, width: box.width, height: box.height };
}

let waiting = false;
function draw() {
  byId('tip').hidden = true;  // what it told of may be elsewhere now
  if (waiting) return;
  waiting = true;
  requestAnimationFrame(() => { waiting = false; drawNow(); });
}
function drawNow() {
  drawOverview();
  drawChart();
  const [from, to] = [view.from, view.to];
  byId('window').textContent = axis === 'time' ? seconds(Math.max(0, from)) + ' – ' + seconds(to)
    : 'steps ' + (Math.max(0, Math.ceil(from)) + 1) + ' – ' + Math.min(rows.length, Math.floor(to) + 1) + ' of ' + rows.length;
  chart.dataset.rows = rows.length;
  chart.dataset.axis = axis;
}

function laneXs(width) {
  const left = 92, room = Math.max(120, width - left - 40);
  return { host: left + room * 0.12, handset: left + room * 0.9 };
}
const yOf = (position, height) => HEAD + (position - view.from) / (view.to - view.from) * (height - HEAD);

function drawChart() {
  const { pen, width, height } = sized(chart);
  const { host, handset } = laneXs(width);
  pen.font = '12px system-ui, "DejaVu Sans", sans-serif';
  pen.textBaseline = 'middle';
  drawAxis(pen, width, height);
  const from = Math.max(0, rowAtOrAfter(view.from) - 1), to = Math.min(rows.length, rowAtOrAfter(view.to) + 1);
  drawBusy(pen, height, handset);
  pen.strokeStyle = colours.lane;
  pen.lineWidth = 2;
  for (const x of [host, handset]) {
    pen.beginPath();
    pen.moveTo(x, HEAD);
    pen.lineTo(x, height);
    pen.stroke();
  }
  drawArrows(pen, height, from, to, host, handset);
  drawChosen(pen, height, host, handset);
  pen.fillStyle = colours.panel;
  pen.fillRect(0, 0, width, HEAD);
  pen.fillStyle = colours.ink;
  pen.textAlign = 'center';
  pen.font = '600 13px system-ui, "DejaVu Sans", sans-serif';
  pen.fillText('Host', host, HEAD / 2);
  pen.fillText('Handset', handset, HEAD / 2);
  pen.fillStyle = colours.edge;
  pen.fillRect(0, HEAD - 1, width, 1);
  if (rows.length === 0) {
    pen.fillStyle = colours.faint;
    pen.fillText('Nothing passes the filter', (host + handset) / 2, height / 2);
  }
}

function drawAxis(pen, width, height) {
  pen.textAlign = 'right';
  pen.lineWidth = 1;
  if (axis === 'steps') {
    const from = Math.max(0, Math.ceil(view.from)), to = Math.min(rows.length - 1, Math.floor(view.to));
    const every = Math.max(1, Math.ceil((view.to - view.from) / ((height - HEAD) / 20)));
    pen.fillStyle = colours.faint;
    for (let row = Math.ceil(from / every) * every; row <= to; row += every) {
      pen.fillText(seconds(records[rows[row]].time), 80, yOf(row, height));
    }
    return;
  }
  const least = (view.to - view.from) / ((height - HEAD) / 48);
  const power = Math.pow(10, Math.floor(Math.log10(least)));
  const step = Math.max(1, [1, 2, 5, 10].map((n) => n * power).find((n) => n >= least));
  for (let time = Math.ceil(view.from / step) * step; time <= view.to; time += step) {
    const y = Math.round(yOf(time, height)) + 0.5;
    if (y < HEAD + 6 || time < 0) continue;
    pen.strokeStyle = colours.soft;
    pen.beginPath();
    pen.moveTo(88, y);
    pen.lineTo(width, y);
    pen.stroke();
    pen.fillStyle = colours.faint;
    pen.fillText(seconds(time), 80, y);
  }
}

// How long the handset was busy with each exchange.
function drawBusy(pen, height, x) {
  for (const bad of [false, true]) {
    pen.fillStyle = colours[bad ? 'busy-bad' : 'busy'];
    for (const exchange of chosenExchanges) {
      if (exchange.family === PORT || (exchange.outcome === FAILED) !== bad) continue;
      const first = rowOf[exchange.parts[0].record];
      let last = first;
      for (let i = exchange.parts.length - 1; i > 0; i--) {
        if (exchange.parts[i].role >= ROLE.ack && exchange.parts[i].role <= ROLE.bad) { last = rowOf[exchange.parts[i].record]; break; }
      }
      const top = at(first), end = at(last);
      if (end < view.from || top > view.to || last <= first) continue;
      const y = yOf(Math.max(top, view.from), height), bottom = yOf(Math.min(end, view.to), height);
      pen.fillRect(x - 7, y, 14, Math.max(1, bottom - y));
    }
  }
}

function arrow(pen, from, to, y, style, strong) {
  pen.strokeStyle = pen.fillStyle = colours[style.colour];
  pen.lineWidth = strong ? 3 : style.thin ? 1 : 1.6;
  pen.setLineDash(style.dash ? [5, 4] : []);
  const head = to > from ? -7 : 7;
  pen.beginPath();
  pen.moveTo(from, y);
  pen.lineTo(to + head, y);
  pen.stroke();
  pen.setLineDash([]);
  pen.beginPath();
  pen.moveTo(to, y);
  pen.lineTo(to + head, y - 4);
  pen.lineTo(to + head, y + 4);
  pen.fill();
}
function mark(pen, x, y, colour, strong) {
  const size = strong ? 6 : 4;
  pen.fillStyle = colours[colour];
  pen.beginPath();
  pen.moveTo(x, y - size);
  pen.lineTo(x + size, y);
  pen.lineTo(x, y + size);
  pen.lineTo(x - size, y);
  pen.fill();
}
function fitted(pen, text, room) {
  if (pen.measureText(text).width <= room) return text;
  let length = Math.max(1, Math.floor(text.length * room / pen.measureText(text.slice(0, 400)).width));
  length = Math.min(length, text.length);
  while (length > 1 && pen.measureText(text.slice(0, length) + '…').width > room) length--;
  return text.slice(0, length) + '…';
}
function label(pen, record, style, y, host, handset) {
  const room = handset - host - 60;
  pen.font = '12px system-ui, "DejaVu Sans", sans-serif';
  const text = fitted(pen, labelOf(record).slice(0, 200), room);
  const wide = pen.measureText(text).width;
  const x = style.side === 0 ? host + 12 : (host + handset) / 2 - wide / 2;
  pen.textAlign = 'left';
  pen.fillStyle = colours.panel;
  pen.fillRect(x - 4, y - 7.5, wide + 8, 15);
  pen.fillStyle = style.colour === 'purge' ? colours.faint : colours[style.colour];
  pen.fillText(text, x, y);
}
// Single arrows with labels where they fit; where they would lie on one another, how many there are.
function drawArrows(pen, height, from, to, host, handset) {
  const crowd = [], single = [];
  for (let row = from; row < to; row++) {
    const y = yOf(at(row), height);
    const before = row > from ? y - yOf(at(row - 1), height) : height, after = row + 1 < to ? yOf(at(row + 1), height) - y : height;
    (Math.min(before, after) < 3 ? crowd : single).push(row);
  }
  drawDense(pen, height, crowd, host, handset);
  let free = HEAD + 4;  // where the next label may begin
  single.forEach((row, index) => {
    const record = records[rows[row]];
    const style = drawingOf(record);
    const y = yOf(at(row), height);
    const strong = rows[row] === chosen;
    if (style.side === 0) mark(pen, host, y, style.colour, strong);
    else if (style.side > 0) arrow(pen, host, handset, y, style, strong);
    else arrow(pen, handset, host, y, style, strong);
    const next = index + 1 < single.length ? yOf(at(single[index + 1]), height) : height;
    const minor = record.role === ROLE.text || record.role === ROLE.purge;
    if (y - 8 < free || (minor && next - y < 18)) return;
    label(pen, record, style, y, host, handset);
    free = y + 8;
  });
}
// Records closer than they can be told apart: for each line of so many pixels how many went which way, in proportion.
function drawDense(pen, height, crowd, host, handset) {
  const order = ['request', 'port', 'answer', 'ack', 'purge', 'unsolicited', 'error'];
  const LINE = 3;
  const counts = [new Map(), new Map()];
  for (const row of crowd) {
    const style = drawingOf(records[rows[row]]);
    const y = Math.floor(yOf(at(row), height) / LINE) * LINE;
    if (y < HEAD - LINE || y >= height) continue;
    const side = counts[style.side < 0 ? 1 : 0];
    if (!side.has(y)) side.set(y, new Uint32Array(order.length));
    side.get(y)[order.indexOf(style.colour)]++;
  }
  const room = (handset - host) / 2 - 12;
  counts.forEach((side, index) => {
    let most = 1;
    for (const line of side.values()) most = Math.max(most, line.reduce((a, b) => a + b, 0));
    for (const [y, line] of side) {
      let x = Math.round(index === 0 ? host + 3 : handset - 9);
      line.forEach((count, colour) => {
        if (count === 0) return;
        const wide = Math.max(order[colour] === 'error' ? 3 : 1, Math.round(count / most * room));
        pen.fillStyle = colours[order[colour]];
        pen.fillRect(index === 0 ? x : x - wide, y, wide, LINE);
        x += index === 0 ? wide : -wide;
      });
    }
  });
}
function drawChosen(pen, height, host, handset) {
  if (chosen < 0 || rowOf[chosen] < 0) return;
  const record = records[chosen];
  const style = drawingOf(record);
  if (record.exchange >= 0) {
    const inside = exchanges[record.exchange].parts.map((part) => rowOf[part.record]).filter((row) => row >= 0);
    const top = yOf(at(inside[0]), height), bottom = yOf(at(inside[inside.length - 1]), height);
    pen.fillStyle = colours.accent;
    pen.fillRect(host - 16, Math.max(HEAD, top - 3), 4, Math.max(6, Math.min(height, bottom) - Math.max(HEAD, top) + 6));
  }
  const y = yOf(at(rowOf[chosen]), height);
  if (y < HEAD || y > height) return;
  if (style.side === 0) mark(pen, host, y, style.colour, true);
  else if (style.side > 0) arrow(pen, host, handset, y, style, true);
  else arrow(pen, handset, host, y, style, true);
  label(pen, record, style, y, host, handset);
}
