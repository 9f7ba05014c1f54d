'use strict';
(() => {
  const data = JSON.parse(document.getElementById('trace').textContent);
  const byId = (id) => document.getElementById(id);

  // ---- the trace ---------------------------------------------------------------------------------------------------

  const ROLE = { request: 0, later: 1, ack: 2, ok: 3, answer: 4, bad: 5, text: 6, purge: 7, unsolicited: 8, note: 9 };
  const FAILED = 1;
  const PORT = 5;
  const OTHER = data.families.length;  // records outside every exchange, as a kind of the filter

  const records = data.records.map(([line, time, kind, text, fields, dataFrom, dataTo, problem, printed]) =>
    ({ line, time, kind, text, fields, dataFrom, dataTo, problem, printed, exchange: -1, role: ROLE.note, remark: '' }));
  const exchanges = data.exchanges.map(
    ([family, name, title, outcome, code, finding, retry, sent, ack, answered, done, bytesSent, bytesReceived, flat, line]) => {
      const parts = [];
      for (let i = 0; i < flat.length; i += 2) parts.push({ record: flat[i], role: flat[i + 1] });
      return { family, name, title, outcome, code, finding, retry, sent, ack, answered, done, bytesSent, bytesReceived, parts, line };
    }).sort((a, b) => a.parts[0].record - b.parts[0].record);
  exchanges.forEach((exchange, index) => {
    for (const part of exchange.parts) {
      records[part.record].exchange = index;
      records[part.record].role = part.role;
    }
  });
  for (const [index, role, error, text] of data.strays) {
    const record = records[index];
    if (record.exchange < 0) record.role = role;
    record.remark = text;
    record.error = Boolean(error);
  }

  // Where a record stands on the time axis: records of one millisecond share it in their order.
  const timeOf = new Float64Array(records.length);
  for (let i = 0, last = 0; i < records.length;) {
    last = Math.max(last, records[i].time);
    let end = i + 1;
    while (end < records.length && Math.max(last, records[end].time) === last) end++;
    for (let k = i; k < end; k++) timeOf[k] = last + (k - i) / (end - i);
    i = end;
  }
  const firstTime = records.length ? timeOf[0] : 0;
  const lastTime = records.length ? timeOf[records.length - 1] : 0;

  const latencyOf = (exchange) => (exchange.done === null ? null : exchange.done - exchange.sent);
  const isError = (record) => Boolean(record.error) ||
    (record.exchange >= 0 && exchanges[record.exchange].outcome === FAILED && record.role === ROLE.request) || record.role === ROLE.bad;
  const seconds = (ms) => (ms / 1000).toFixed(3) + ' s';
  const hex = (value, digits) => '0x' + value.toString(16).toUpperCase().padStart(digits, '0');
  const plural = (n, thing) => n.toLocaleString('en') + ' ' + thing + (n === 1 ? '' : 's');
  const shown = (text) => text.replace(/\r/g, '␍').replace(/\n/g, '␊').replace(/[\x00-\x1f\x7f]/g, (c) => String.fromCharCode(0x2400 + (c === '\x7f' ? 0x21 : c.charCodeAt(0))));

  function labelOf(record) {
    const exchange = record.exchange >= 0 ? exchanges[record.exchange] : null;
    switch (record.role) {
      case ROLE.request: return exchange.title + (exchange.retry ? ' (repeated)' : '');
      case ROLE.later: {
        const names = data.layouts[record.kind] || [];
        const field = (name) => record.fields[names.findIndex((f) => f[0] === name)];
        return 'segment ' + field('segment') + ' of ' + field('segments');
      }
      case ROLE.ack: return 'ACK';
      case ROLE.ok: return 'OK';
      case ROLE.answer:
        if (exchange.family === PORT) return record.text;
        if (exchange.outcome === FAILED) return 'answer: ' + exchange.finding;
        return exchange.name === 'AT' ? shown(record.text.slice(record.dataFrom)) : 'answer, ' + plural(exchange.bytesReceived, 'byte');
      case ROLE.bad: return exchange ? exchange.finding : record.remark;
      case ROLE.purge: return 'thrown away: ' + shown(record.text.slice(record.dataFrom));
      case ROLE.unsolicited: return 'unsolicited: ' + shown(record.text);
      default: return shown(record.text) || 'empty record';
    }
  }

  // ---- elements ----------------------------------------------------------------------------------------------------

  function make(tag, attributes = {}, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
      if (value === false || value === null || value === undefined) continue;
      if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
      else element.setAttribute(name, value === true ? '' : value);
    }
    element.append(...children);
    return element;
  }

  const colours = {};
  function readColours() {
    const style = getComputedStyle(document.documentElement);
    for (const name of ['page', 'panel', 'edge', 'soft', 'ink', 'faint', 'accent', 'chosen', 'request', 'ack', 'answer', 'error',
      'unsolicited', 'port', 'purge', 'lane', 'busy', 'busy-bad']) {
      colours[name] = style.getPropertyValue('--' + name).trim();
    }
  }

  // How each role is drawn. side: +1 to the handset, -1 to the host, 0 a mark at the host's lane.
  const DRAW = [
    { side: 1, colour: 'request' }, { side: 1, colour: 'request', thin: true }, { side: -1, colour: 'ack', dash: true },
    { side: -1, colour: 'ack', dash: true }, { side: -1, colour: 'answer' }, { side: -1, colour: 'error' },
    { side: -1, colour: 'purge', thin: true, dash: true }, { side: 0, colour: 'purge' }, { side: -1, colour: 'unsolicited' },
    { side: 0, colour: 'port' },
  ];
  function drawingOf(record) {
    const exchange = record.exchange >= 0 ? exchanges[record.exchange] : null;
    if (exchange && exchange.family === PORT) {
      return { side: 0, colour: record.role === ROLE.bad ? 'error' : 'port' };
    }
    if (exchange && record.role === ROLE.answer && exchange.outcome === FAILED) return DRAW[ROLE.bad];
    if (record.error) return { ...DRAW[record.role], colour: 'error' };
    return DRAW[record.role];
  }

  // ---- filter ------------------------------------------------------------------------------------------------------

  const filter = { families: new Set([...data.families.keys(), OTHER]), outcome: '', text: '', latency: null };
  let rows = new Int32Array(0);          // the records that pass
  let rowOf = new Int32Array(records.length);
  let chosenExchanges = [];              // the exchanges that pass
  let errors = [];                       // {record, exchange|null, text, code}

  const textCache = [];
  const lower = (index) => (textCache[index] ??= records[index].text.toLowerCase());
  function exchangePasses(exchange) {
    if (!filter.families.has(exchange.family)) return false;
    if (filter.outcome === 'retry' ? !exchange.retry : filter.outcome !== '' && String(exchange.outcome) !== filter.outcome) return false;
    if (filter.latency) {
      const latency = latencyOf(exchange);
      if (latency === null || latency < filter.latency[0] || latency >= filter.latency[1]) return false;
    }
    if (!filter.text) return true;
    return exchange.title.toLowerCase().includes(filter.text) || exchange.finding.toLowerCase().includes(filter.text) ||
      exchange.parts.some((part) => lower(part.record).includes(filter.text));
  }
  function applyFilter() {
    const passes = exchanges.map(exchangePasses);
    const others = filter.families.has(OTHER) && filter.outcome === '' && !filter.latency;
    const kept = [];
    records.forEach((record, index) => {
      const pass = record.exchange >= 0 ? passes[record.exchange] : others && (!filter.text || lower(index).includes(filter.text));
      rowOf[index] = pass ? kept.push(index) - 1 : -1;
    });
    rows = Int32Array.from(kept);
    chosenExchanges = exchanges.filter((_, index) => passes[index]);
    errors = [];
    for (const index of rows) {
      const record = records[index];
      const exchange = record.exchange >= 0 ? exchanges[record.exchange] : null;
      if (record.error) errors.push({ record: index, title: exchange ? exchange.title : data.kinds[record.kind], text: record.remark, code: 0 });
      if (exchange && exchange.outcome === FAILED && record.role === ROLE.request) {
        errors.push({ record: index, title: exchange.title, text: exchange.finding, code: exchange.code });
      }
    }
    const requests = (list) => list.reduce((count, exchange) => count + (exchange.family === PORT ? 0 : 1), 0);
    byId('matches').textContent = requests(chosenExchanges).toLocaleString('en') + ' of ' + plural(requests(exchanges), 'exchange');
    overviewDirty = true;
    if (axis === 'steps') fit();
    showHistogram();
    showList();
    draw();
  }

  function showFilter() {
    const counts = new Array(OTHER + 1).fill(0);
    for (const exchange of exchanges) counts[exchange.family]++;
    for (const record of records) if (record.exchange < 0) counts[OTHER]++;
    [...data.families, 'other'].forEach((name, index) => {
      const box = make('input', { type: 'checkbox', id: 'family-' + index, checked: true });
      box.addEventListener('change', () => {
        if (box.checked) filter.families.add(index);
        else filter.families.delete(index);
        applyFilter();
      });
      byId('families').append(make('label', { class: 'chip' }, box, name, make('span', {}, counts[index].toLocaleString('en'))));
    });
    byId('outcome').addEventListener('change', (event) => { filter.outcome = event.target.value; applyFilter(); });
    let timer = 0;
    byId('text').addEventListener('input', (event) => {
      clearTimeout(timer);
      timer = setTimeout(() => { filter.text = event.target.value.trim().toLowerCase(); applyFilter(); }, 120);
    });
    byId('text').addEventListener('keydown', (event) => { if (event.key === 'Escape') chart.focus(); });
    byId('filters').addEventListener('submit', (event) => event.preventDefault());
    byId('clear').addEventListener('click', () => {
      filter.families = new Set([...data.families.keys(), OTHER]);
      filter.outcome = filter.text = '';
      filter.latency = null;
      byId('filters').reset();
      applyFilter();
    });
  }

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
  // Single arrows with labels where there is room; where they would lie on one another, how many there are.
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

  // ---- latency -----------------------------------------------------------------------------------------------------

  function binsFor(values) {
    const least = Math.min(...[values[0]]), most = values[values.length - 1];
    const edges = [];
    if (most - least < 24) {
      for (let edge = least; edge <= Math.max(most, least + 7) + 1; edge++) edges.push(edge);
      return edges;
    }
    const steps = [0, 1, 2, 3, 4, 5, 6, 8];
    for (let power = 1; power < 1e10; power *= 10) for (const n of [10, 12, 15, 20, 25, 30, 40, 50, 60, 80]) steps.push(n * power);
    const first = Math.max(0, steps.findIndex((edge) => edge > least) - 1);
    for (let i = first; i < steps.length; i++) {
      edges.push(steps[i]);
      if (steps[i] > most) break;
    }
    return edges;
  }
  const rank = (values, percent) => values[Math.max(1, Math.ceil(values.length * percent / 100)) - 1];
  function showHistogram() {
    const before = filter.latency;
    filter.latency = null;
    const values = (before ? exchanges.filter(exchangePasses) : chosenExchanges).filter((e) => e.family !== PORT).map(latencyOf)
      .filter((value) => value !== null).sort((a, b) => a - b);
    filter.latency = before;
    const room = byId('histogram');
    room.replaceChildren();
    byId('percentiles').textContent = values.length === 0 ? '' :
      'min ' + values[0] + ' · median ' + rank(values, 50) + ' · p90 ' + rank(values, 90) + ' · p99 ' + rank(values, 99) + ' · max ' +
      values[values.length - 1] + ' ms';
    if (values.length === 0) {
      room.append(make('p', { class: 'faint' }, 'No exchange with an answer.'));
      return;
    }
    const edges = binsFor(values);
    const counts = new Array(edges.length - 1).fill(0);
    let bin = 0;
    for (const value of values) {
      while (value >= edges[bin + 1]) bin++;
      counts[bin]++;
    }
    const most = Math.max(...counts);
    const every = Math.ceil(counts.length / 9);
    counts.forEach((count, index) => {
      const [from, to] = [edges[index], edges[index + 1]];
      const chosenBin = before && before[0] === from && before[1] === to;
      const name = (to - from === 1 ? from + ' ms' : from + ' to ' + (to - 1) + ' ms') + ': ' + plural(count, 'exchange');
      const bar = make('button', { type: 'button', title: name, 'aria-label': name, 'aria-pressed': String(Boolean(chosenBin)), disabled: count === 0 });
      bar.style.setProperty('--size', count ? Math.max(3, count / most * 100) + '%' : '0');
      if (index % every === 0) bar.append(make('span', {}, String(from)));
      bar.addEventListener('click', () => {
        filter.latency = chosenBin ? null : [from, to];
        applyFilter();
      });
      room.append(bar);
    });
  }

  // ---- lists -------------------------------------------------------------------------------------------------------

  const ROW = 25;
  const rowsBox = byId('rows'), rowsRoom = byId('rows-room');
  const millis = (value) => (value === null || value === undefined ? '–' : String(value));
  const cell = (text, kind = '') => make('span', { role: 'gridcell', class: kind }, String(text));
  const outcomeClass = (outcome) => (outcome === FAILED ? 'failed' : outcome === 0 ? '' : 'muted');

  function kindRows() {
    const kinds = new Map();
    for (const exchange of chosenExchanges) {
      const kind = kinds.get(exchange.name) || { name: exchange.name, count: 0, failed: 0, retries: 0, values: [] };
      kind.count++;
      if (exchange.outcome === FAILED) kind.failed++;
      if (exchange.retry) kind.retries++;
      if (latencyOf(exchange) !== null) kind.values.push(latencyOf(exchange));
      kinds.set(exchange.name, kind);
    }
    for (const kind of kinds.values()) kind.values.sort((a, b) => a - b);
    return [...kinds.values()].sort((a, b) => (a.name < b.name ? -1 : 1));
  }
  const LISTS = {
    exchanges: {
      columns: '84px minmax(0, 1fr) 62px 92px', heads: [['time, s', 'number'], ['exchange'], ['ms', 'number'], ['result']],
      items: () => chosenExchanges,
      cells: (e) => [cell((e.sent / 1000).toFixed(3), 'number'), cell(e.title + (e.retry ? ' (repeated)' : '')), cell(millis(latencyOf(e)), 'number'),
        cell(data.outcomes[e.outcome], outcomeClass(e.outcome))],
      record: (e) => e.parts[0].record,
    },
    errors: {
      columns: '84px 58px minmax(0, .8fr) minmax(0, 1.2fr) 58px', heads: [['time, s', 'number'], ['line', 'number'], ['exchange'], ['error'], ['code']],
      items: () => errors,
      cells: (e) => [cell((records[e.record].time / 1000).toFixed(3), 'number'), cell(records[e.record].line, 'number'), cell(e.title),
        cell(e.text, 'failed'), cell(e.code ? hex(e.code, 4) : '')],
      record: (e) => e.record,
    },
    kinds: {
      columns: 'minmax(0, 1fr) repeat(8, 48px)',
      heads: [['kind'], ['count', 'number'], ['failed', 'number'], ['rep.', 'number'], ['min', 'number'], ['med.', 'number'], ['p90', 'number'], ['p99', 'number'], ['max', 'number']],
      items: kindRows,
      cells: (k) => [cell(k.name), cell(k.count, 'number'), cell(k.failed, k.failed ? 'number failed' : 'number'), cell(k.retries, 'number'),
        cell(millis(k.values[0]), 'number'), ...[50, 90, 99].map((p) => cell(millis(k.values.length ? rank(k.values, p) : null), 'number')),
        cell(millis(k.values[k.values.length - 1]), 'number')],
      record: () => -1,
    },
    remarks: {
      columns: '58px minmax(0, 1fr)', heads: [['line', 'number'], ['remark on the file']],
      items: () => data.summary.first_remarks,
      cells: (r) => [cell(r.line, 'number'), cell(r.text)],
      record: (r) => records.findIndex((record) => record.line >= r.line),
    },
  };
  let listName = 'exchanges';
  let items = [];
  let chosenRow = -1;
  function showList(name = listName) {
    listName = name;
    const list = LISTS[name];
    items = list.items();
    for (const tab of document.querySelectorAll('[role="tab"]')) {
      const own = tab.id === 'tab-' + name;
      tab.setAttribute('aria-selected', String(own));
      tab.tabIndex = own ? 0 : -1;
    }
    byId('tab-errors').textContent = 'Errors ' + errors.length.toLocaleString('en');
    byId('tab-remarks').textContent = 'Remarks ' + data.summary.remarks.toLocaleString('en');
    byId('list').setAttribute('aria-labelledby', 'tab-' + name);
    byId('list-head').style.gridTemplateColumns = list.columns;
    byId('list-head').replaceChildren(...list.heads.map(([text, kind]) => make('span', { class: kind || '' }, text)));
    rowsRoom.style.height = items.length * ROW + 'px';
    rowsBox.setAttribute('aria-rowcount', items.length);
    rowsBox.scrollTop = 0;
    chosenRow = chosen < 0 ? -1 : items.findIndex((item) => belongs(list.record(item)));
    showRows();
    if (chosenRow >= 0) showRow(chosenRow);
  }
  const belongs = (record) => record >= 0 && chosen >= 0 &&
    (record === chosen || (records[record].exchange >= 0 && records[record].exchange === records[chosen].exchange));
  function showRows() {
    const list = LISTS[listName];
    const first = Math.max(0, Math.floor(rowsBox.scrollTop / ROW) - 4);
    const last = Math.min(items.length, first + Math.ceil(rowsBox.clientHeight / ROW) + 9);
    const made = [];
    for (let index = first; index < last; index++) {
      const row = make('div', { class: 'row', role: 'row', id: 'row-' + index, 'aria-rowindex': index + 1, 'aria-selected': String(index === chosenRow) });
      row.style.top = index * ROW + 'px';
      row.style.gridTemplateColumns = list.columns;
      row.append(...list.cells(items[index]));
      row.title = row.children.length ? [...row.children].map((c) => c.textContent).filter(Boolean).join('  ') : '';
      row.addEventListener('click', () => chooseRow(index));
      made.push(row);
    }
    if (items.length === 0) made.push(make('p', { class: 'nothing' }, listName === 'errors' ? 'No errors.' : listName === 'remarks' ? 'The file is as it should be.' : 'Nothing passes the filter.'));
    rowsRoom.replaceChildren(...made);
    if (chosenRow >= 0) rowsBox.setAttribute('aria-activedescendant', 'row-' + chosenRow);
    else rowsBox.removeAttribute('aria-activedescendant');
  }
  function showRow(index) {
    const top = index * ROW;
    if (top < rowsBox.scrollTop) rowsBox.scrollTop = top;
    else if (top + ROW > rowsBox.scrollTop + rowsBox.clientHeight) rowsBox.scrollTop = top + ROW - rowsBox.clientHeight;
    showRows();
  }
  function chooseRow(index) {
    if (index < 0 || index >= items.length) return;
    chosenRow = index;
    const record = LISTS[listName].record(items[index]);
    if (record >= 0) choose(record, true, false);
    showRow(index);
  }
  const pageOfRows = () => Math.max(1, Math.floor(rowsBox.clientHeight / ROW) - 1);
  const rowKeys = {
    ArrowDown: () => chooseRow(Math.min(items.length - 1, chosenRow + 1)), ArrowUp: () => chooseRow(Math.max(0, chosenRow - 1)),
    Home: () => chooseRow(0), End: () => chooseRow(items.length - 1), PageUp: () => chooseRow(Math.max(0, chosenRow - pageOfRows())),
    PageDown: () => chooseRow(Math.min(items.length - 1, chosenRow + pageOfRows())), Enter: () => byId('detail').focus(),
  };
  rowsBox.addEventListener('scroll', () => requestAnimationFrame(showRows));
  for (const tab of document.querySelectorAll('[role="tab"]')) {
    tab.addEventListener('click', () => showList(tab.id.slice(4)));
    tab.addEventListener('keydown', (event) => {
      const by = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
      if (!by) return;
      const tabs = [...document.querySelectorAll('[role="tab"]')];
      const next = tabs[(tabs.indexOf(tab) + by + tabs.length) % tabs.length];
      next.focus();
      next.click();
    });
  }

  // ---- details -----------------------------------------------------------------------------------------------------

  function dump(digits) {
    const lines = [];
    for (let at = 0; at < digits.length; at += 32) {
      const bytes = (digits.slice(at, at + 32).match(/../g) || []);
      const text = bytes.map((byte) => { const code = parseInt(byte, 16); return code >= 0x20 && code < 0x7f ? String.fromCharCode(code) : '·'; }).join('');
      lines.push((at / 2).toString(16).toUpperCase().padStart(4, '0') + '  ' + bytes.join(' ').padEnd(47) + '  ' + text);
    }
    return lines.join('\n');
  }
  function framed(record, part, from, open) {
    const layout = data.layouts[record.kind] || [];
    const inside = make('div', { class: 'inside' });
    if (record.problem) inside.append(make('p', { class: 'finding' }, record.problem));
    if (record.remark && record.remark !== record.problem) inside.append(make('p', { class: record.error ? 'finding' : 'faint' }, record.remark));
    if (layout.length) {
      const table = make('table');
      record.fields.forEach((value, index) => {
        const [name, digits] = layout[index];
        table.append(make('tr', {}, make('th', { scope: 'row' }, name), make('td', {}, hex(value, digits)), make('td', {}, String(value))));
      });
      inside.append(table);
      const digits = record.text.slice(record.dataFrom, record.dataTo).replace(/\n/g, '');
      if (digits) {
        const cut = data.kinds[record.kind] === 'HCI answer' ? 'data: the last six characters of the answer; the trace keeps no more' : 'data, ' + plural(Math.floor(digits.length / 2), 'byte');
        inside.append(make('p', { class: 'faint' }, cut), make('pre', { class: 'dump' }, dump(digits)));
      }
    }
    inside.append(make('p', { class: 'faint' }, 'line ' + record.line.toLocaleString('en') + ', [T:' + record.printed + ']'), make('pre', { class: 'raw' }, record.text));
    const after = record.time - from;
    const told = labelOf(record).slice(0, 120);
    const headings = { [ROLE.request]: 'request', [ROLE.ack]: 'acknowledgement', [ROLE.text]: 'text: ' + told };
    const frame = make('details', { class: 'frame', open, 'data-record': part.record, 'data-chosen': part.record === chosen },
      make('summary', {}, make('span', { class: 'grow' }, headings[part.role] || told),
        make('span', { class: 'faint' }, '+' + after + ' ms')), inside);
    frame.style.borderLeftColor = colours[drawingOf(record).colour];
    return frame;
  }
  function showDetail() {
    const title = byId('detail-title'), body = byId('detail-body');
    for (const old of byId('detail').querySelectorAll('.bar .badge')) old.remove();
    if (chosen < 0) {
      title.textContent = 'Nothing chosen';
      body.replaceChildren(make('p', { class: 'faint' }, 'Choose an arrow in the chart or a row of the list to see its frames decoded.'));
      return;
    }
    const record = records[chosen];
    const exchange = record.exchange >= 0 ? exchanges[record.exchange] : null;
    if (!exchange) {
      title.textContent = data.kinds[record.kind][0].toUpperCase() + data.kinds[record.kind].slice(1);
      body.replaceChildren(framed(record, { record: chosen, role: record.role }, record.time, true));
      return;
    }
    title.textContent = exchange.title;
    title.after(make('span', { class: 'badge ' + (exchange.outcome === FAILED ? 'failed' : exchange.outcome === 0 ? 'good' : 'other') }, data.outcomes[exchange.outcome]));
    const facts = make('dl', { class: 'facts' });
    const fact = (name, value) => facts.append(make('dt', {}, name), make('dd', {}, value));
    fact('sent at', seconds(exchange.sent));
    if (exchange.ack !== null) fact('acknowledged after', exchange.ack - exchange.sent + ' ms');
    if (exchange.answered !== null) fact(exchange.family === PORT ? 'ended after' : 'answered after', exchange.answered - exchange.sent + ' ms');
    if (latencyOf(exchange) !== null && exchange.done !== exchange.answered) fact('complete after', latencyOf(exchange) + ' ms');
    if (exchange.family !== PORT) fact('data', exchange.bytesSent.toLocaleString('en') + ' bytes sent, ' + exchange.bytesReceived.toLocaleString('en') + ' received');
    if (exchange.code) fact('code', hex(exchange.code, 4) + (data.meanings[exchange.code] ? ', ' + data.meanings[exchange.code] : ''));
    if (exchange.retry) fact('repeated', 'the same request as the one before, which failed');
    const made = [facts];
    if (exchange.finding) made.unshift(make('p', { class: exchange.outcome === FAILED ? 'finding' : 'faint' }, exchange.finding));
    for (const part of exchange.parts) made.push(framed(records[part.record], part, exchange.sent, part.record === chosen));
    body.replaceChildren(...made);
    const own = body.querySelector('[data-chosen]');
    if (own && exchange.parts[0].record !== chosen) body.scrollTop = Math.max(0, own.offsetTop - body.offsetTop - 8);
    else body.scrollTop = 0;
  }
  function choose(record, intoSight, alsoInList = true) {
    chosen = record;
    chart.dataset.chosen = record;
    if (record >= 0 && intoSight && rowOf[record] >= 0) reveal(rowOf[record]);
    else draw();
    showDetail();
    if (!alsoInList) return;
    chosenRow = record < 0 ? -1 : items.findIndex((item) => belongs(LISTS[listName].record(item)));
    if (chosenRow >= 0) showRow(chosenRow);
    else showRows();
  }

  // ---- the page ----------------------------------------------------------------------------------------------------

  function toggleTheme() { setTheme(document.documentElement.dataset.theme === 'dark' ? 'light' : 'dark'); }
  function setTheme(name) {
    document.documentElement.dataset.theme = name;
    byId('theme').textContent = name === 'dark' ? 'Light' : 'Dark';
    readColours();
    showDetail();
    draw();
  }
  function showHead() {
    const s = data.summary;
    const file = s.file.split(/[\\/]/).pop();
    document.title = 'Trace ' + file;
    byId('title').textContent = file;
    byId('title').title = s.file;
    byId('subtitle').textContent = plural(s.records, 'record') + ' in ' + seconds(s.duration_ms) +
      (data.left_out ? '; this page shows the ' + plural(records.length, 'record') + ' from line ' + records[0].line.toLocaleString('en') + ' on' : '');
    const tile = (name, value, bad) => byId('tiles').append(make('div', { class: bad ? 'bad' : '' }, make('dt', {}, name), make('dd', {}, value)));
    const latency = s.exchanges.latency_ms;
    tile('exchanges', s.exchanges.count.toLocaleString('en'));
    tile('errors', s.errors.toLocaleString('en'), s.errors > 0);
    tile('repeated', s.exchanges.retries.toLocaleString('en'));
    tile('median', latency.count ? latency.median + ' ms' : '–');
    tile('p99', latency.count ? latency.p99 + ' ms' : '–');
    tile('a second', s.exchanges_per_second.toFixed(1));
    const legend = [['request', 'request'], ['ack', 'acknowledgement, OK', true], ['answer', 'answer'], ['error', 'failed'], ['unsolicited', 'unsolicited'], ['port', 'port'], ['purge', 'text, thrown away', true]];
    for (const [colour, name, dashed] of legend) {
      const line = make('i', { class: dashed ? 'dashed' : '' });
      line.style.borderColor = 'var(--' + colour + ')';
      byId('legend').append(make('li', {}, line, name));
    }
  }
  byId('theme').addEventListener('click', toggleTheme);
  byId('help-open').addEventListener('click', () => byId('help').showModal());
  byId('zoom-in').addEventListener('click', () => zoom(0.6));
  byId('zoom-out').addEventListener('click', () => zoom(1 / 0.6));
  byId('fit').addEventListener('click', fit);
  byId('axis-time').addEventListener('click', () => setAxis('time'));
  byId('axis-steps').addEventListener('click', () => setAxis('steps'));
  byId('error-before').addEventListener('click', () => stepError(-1));
  byId('error-next').addEventListener('click', () => stepError(1));
  new ResizeObserver(() => { draw(); showRows(); }).observe(byId('chart-room'));
  new ResizeObserver(() => showRows()).observe(rowsBox);

  readColours();
  showHead();
  showFilter();
  setTheme(matchMedia('(prefers-color-scheme: dark)').matches ? 'dark' : 'light');
  applyFilter();
  fit();
  document.documentElement.dataset.ready = 'true';
})();
