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
