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
// Control characters in letters that every font has.
const ESCAPES = { '\r': '\\r', '\n': '\\n', '\t': '\\t', '\\': '\\\\' };
const shown = (text) => text.replace(/[\x00-\x1f\x7f-\x9f\\]/g, (c) => ESCAPES[c] || '\\x' + c.charCodeAt(0).toString(16).toUpperCase().padStart(2, '0'));

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
