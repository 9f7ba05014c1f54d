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
  const histogram = byId('histogram');
  histogram.replaceChildren();
  byId('percentiles').textContent = values.length === 0 ? '' :
    'min ' + values[0] + ' · median ' + rank(values, 50) + ' · p90 ' + rank(values, 90) + ' · p99 ' + rank(values, 99) + ' · max ' +
    values[values.length - 1] + ' ms';
  if (values.length === 0) {
    histogram.append(make('p', { class: 'faint' }, 'No exchange with an answer.'));
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
    histogram.append(bar);
  });
}

// ---- lists -------------------------------------------------------------------------------------------------------

const ROW = 25;
const rowsBox = byId('rows'), rowsContent = byId('rows-content');
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
  rowsContent.style.height = items.length * ROW + 'px';
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
  rowsContent.replaceChildren(...made);
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

// ---- the list as a file ------------------------------------------------------------------------------------------

// What a spreadsheet would take for a formula begins with an apostrophe, which it takes for text.
function csvCell(text) {
  const safe = /^[=+@\t\r-]/.test(text) && Number.isNaN(Number(text)) ? "'" + text : text;
  return /[",\r\n]/.test(safe) ? '"' + safe.replace(/"/g, '""') + '"' : safe;
}
function listAsCsv() {
  const list = LISTS[listName];
  const lines = [list.heads.map(([text]) => csvCell(text)).join(',')];
  for (const item of items) lines.push(list.cells(item).map((c) => csvCell(c.textContent === '–' ? '' : c.textContent)).join(','));
  return lines.join('\r\n') + '\r\n';
}
function saveList() {
  const address = URL.createObjectURL(new Blob(['\ufeff', listAsCsv()], { type: 'text/csv' }));
  make('a', { href: address, download: data.summary.file.split(/[\\/]/).pop() + '-' + listName + '.csv' }).click();
  setTimeout(() => URL.revokeObjectURL(address), 1000);
}
