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
  tellAddress();
  chart.dataset.chosen = record;
  if (record >= 0 && intoSight && rowOf[record] >= 0) reveal(rowOf[record]);
  else draw();
  showDetail();
  if (!alsoInList) return;
  chosenRow = record < 0 ? -1 : items.findIndex((item) => belongs(LISTS[listName].record(item)));
  if (chosenRow >= 0) showRow(chosenRow);
  else showRows();
}

// ---- the address --------------------------------------------------------------------------------------------------

// The chosen record by its line in the file, so that a link leads to it: "#line=17".
function tellAddress() {
  const address = chosen < 0 ? '#' : '#line=' + records[chosen].line;
  if (address !== (location.hash || '#')) location.replace(address);
}
function recordOfAddress() {
  const line = /^#line=(\d+)$/.exec(location.hash);
  return line ? records.findLastIndex((record) => record.line <= Number(line[1])) : -1;
}
function goToAddress() {
  const record = recordOfAddress();
  if (record < 0 || record === chosen) return;
  if (rowOf[record] < 0) byId('clear').click();
  choose(record, false);
  zoomToChosen();
}
addEventListener('hashchange', goToAddress);
// Where there is something to look at: what the address names, else the first error, else the beginning.
function open() {
  showBeginning();
  if (recordOfAddress() >= 0) goToAddress();
  else if (errors.length > 0) {
    choose(errors[0].record, false);
    zoomToChosen();
  }
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
byId('csv').addEventListener('click', saveList);
byId('help-open').addEventListener('click', () => byId('help').showModal());
byId('zoom-in').addEventListener('click', () => zoom(0.6));
byId('zoom-out').addEventListener('click', () => zoom(1 / 0.6));
byId('fit').addEventListener('click', fit);
byId('axis-time').addEventListener('click', () => setAxis('time'));
byId('axis-steps').addEventListener('click', () => setAxis('steps'));
byId('error-before').addEventListener('click', () => stepError(-1));
byId('error-next').addEventListener('click', () => stepError(1));
new ResizeObserver(() => { draw(); showRows(); }).observe(byId('chart-area'));
new ResizeObserver(() => showRows()).observe(rowsBox);

readColours();
showHead();
showFilter();
setTheme(matchMedia('(prefers-color-scheme: dark)').matches ? 'dark' : 'light');
applyFilter();
open();
document.documentElement.dataset.ready = 'true';
