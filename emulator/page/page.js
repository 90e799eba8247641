'use strict';

const pageSize = 20;
const shownRequests = 500;
const find = (id) => document.getElementById(id);
const state = { offset: 0, total: 0, requests: [], chosen: null, open: new Set() };

// An element with its text, attributes and children.
function make(name, { text, on, ...attributes } = {}, children = []) {
  const element = document.createElement(name);
  if (text !== undefined) element.textContent = text;
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  for (const [event, listener] of Object.entries(on ?? {})) element.addEventListener(event, listener);
  element.append(...children);
  return element;
}

async function ask(method, path, body) {
  const answer = await fetch(path, { method, body, headers: body === undefined ? {} : { 'Content-Type': 'application/json' } });
  const document = await answer.json();
  if (!answer.ok) throw new Error(document.error.message);
  return document;
}

// Does what the person wants, and says why where that is refused.
async function act(action) {
  try {
    find('problem').textContent = '';
    await action();
    await refresh();
  } catch (error) {
    find('problem').textContent = error.message;
  }
}

const describeExecution = (simulation, { id, state: phase, progress }) => {
  const path = `simulations/${encodeURIComponent(simulation)}/executions/${encodeURIComponent(id)}`;
  const button = (word, end) => make('button', {
    type: 'button', text: word, 'aria-label': `${word} ${id}`, on: { click: () => act(() => ask('POST', `${path}/${end}`)) },
  });
  const isOver = phase !== 'queued' && phase !== 'running';
  return make('div', { class: 'execution' }, [
    make('span', { text: id }),
    make('progress', { max: 1, value: progress, 'aria-label': `Progress of ${id}` }),
    make('span', { text: phase, class: phase === 'failed' ? 'bad' : phase === 'finished' ? 'good' : '' }),
    ...(isOver ? [] : [button('Finish', 'finish'), button('Fail', 'fail')]),
  ]);
};

// Whether an execution that is shown is still under way.
let isMoving = false;

async function describeSimulation({ id, executions, document }) {
  const path = `simulations/${encodeURIComponent(id)}/executions`;
  const details = make('details', { on: { toggle: () => {
    if (details.open === state.open.has(id)) return;
    if (details.open) state.open.add(id); else state.open.delete(id);
    refresh();
  } } }, [make('summary', { text: `${id}${document.name ? ` · ${document.name}` : ''} (${executions})` })]);
  if (state.open.has(id)) {
    details.open = true;
    const offset = Math.max(0, executions - pageSize);
    const { items } = await ask('GET', `${path}?limit=${pageSize}&offset=${offset}`);
    isMoving ||= items.some((one) => one.state === 'queued' || one.state === 'running');
    details.append(
      ...items.map((execution) => describeExecution(id, execution)),
      make('button', { type: 'button', text: 'Start an execution', 'aria-label': `Start an execution of ${id}`, on: { click: () => act(() => ask('POST', path, '{}')) } }),
      make('pre', { text: JSON.stringify(document, null, 2), tabindex: 0 }),
    );
  }
  return make('li', {}, [details]);
}

// Replaces what a list shows, and leaves the focus on the element that had it.
function show(list, children) {
  const focused = [...list.querySelectorAll('button, summary, pre')].indexOf(document.activeElement);
  list.replaceChildren(...children);
  if (focused >= 0) list.querySelectorAll('button, summary, pre')[focused]?.focus();
}

async function showSimulations() {
  isMoving = false;
  const { items, total } = await ask('GET', `simulations?limit=${pageSize}&offset=${state.offset}`);
  const described = [];
  for (const simulation of items) described.push(await describeSimulation(simulation));
  show(find('simulations'), described);
  find('simulation-count').textContent = total > pageSize ? `${state.offset + 1}–${state.offset + items.length} of ${total}` : total;
  find('previous').disabled = state.offset === 0;
  find('next').disabled = state.offset + pageSize >= total;
  find('previous').hidden = find('next').hidden = total <= pageSize;
}

async function showClock() {
  const { now, speed } = await ask('GET', 'clock');
  find('now').textContent = now;
  find('now').dateTime = now;
  find('speed').textContent = speed === 0 ? 'stands still' : `speed ${speed}`;
}

async function showRules() {
  const { items, total } = await ask('GET', 'faults');
  find('rule-count').textContent = total;
  show(find('rules'), items.map(({ id, matched, applied, warnings, ...rule }) => make('li', { class: 'rule' }, [
    make('code', { text: JSON.stringify(rule) }, (warnings ?? []).map((text) => make('div', { class: 'bad', text }))),
    make('span', { text: `matched ${matched}, applied ${applied}` }),
    make('button', { type: 'button', text: 'Remove', 'aria-label': `Remove rule ${id}`, on: { click: () => act(() => ask('DELETE', `faults/${id}`)) } }),
  ])));
}

const isShown = ({ method, target, body, status }) => {
  const wanted = new FormData(find('filter'));
  return method.startsWith(wanted.get('method').trim().toUpperCase())
    && `${target}\n${body}`.includes(wanted.get('text')) && String(status ?? '').startsWith(wanted.get('status').trim());
};

// A text as one word of a shell's command.
const quote = (text) => (/^[\w@%+=:,.\/-]+$/.test(text) ? text : `'${text.replaceAll("'", "'\\''")}'`);

function writeCurl({ method, target, headers, body }) {
  const words = ['curl', '-X', method, quote(location.origin + target)];
  for (const { name, value } of headers) {
    if (/^(host|content-length|connection|authorization|cookie)$/i.test(name)) continue;
    words.push('-H', quote(`${name}: ${value}`));
  }
  if (body) words.push('--data-raw', quote(body));
  return words.join(' ');
}

function showRequest() {
  const { chosen } = state;
  find('request').hidden = chosen === null;
  if (chosen === null) return;
  find('request-title').textContent = `${chosen.method} ${chosen.target} → ${chosen.status ?? 'no answer'}`;
  find('request-headers').replaceChildren(...chosen.headers.flatMap(({ name, value }) => [make('dt', { text: name }), make('dd', { text: value })]));
  find('request-body').textContent = chosen.body || '(no body)';
  find('curl').textContent = writeCurl(chosen);
}

function showRequests() {
  const shown = state.requests.filter(isShown);
  find('request-count').textContent = shown.length === state.requests.length ? shown.length : `${shown.length} of ${state.requests.length}`;
  show(find('requests'), shown.map((request) => make('li', {}, [
    make('button', { type: 'button', 'aria-current': request === state.chosen, on: { click: () => { state.chosen = request; showRequest(); showRequests(); } } }, [
      make('span', { text: request.method }),
      make('span', { text: request.target, class: 'target' }),
      make('span', { text: request.status ?? '—', class: request.status < 400 ? 'good' : 'bad' }),
    ]),
  ])));
}

function addRequest(request) {
  state.requests.unshift(request);
  state.requests.length = Math.min(state.requests.length, shownRequests);
  showRequests();
}

// One refresh at a time, and one more when something has changed meanwhile.
let isRefreshing = false;
let isStale = false;
let timer;
async function refresh() {
  isStale = true;
  if (isRefreshing) return;
  isRefreshing = true;
  clearTimeout(timer);
  try {
    while (isStale) {
      isStale = false;
      await Promise.all([showClock(), showRules(), showSimulations()]);
    }
  } catch (error) {
    find('problem').textContent = error.message;
  }
  isRefreshing = false;
  if (isMoving) timer = setTimeout(refresh, 1000);
}

function connect() {
  const events = new EventSource('events');
  events.addEventListener('open', async () => {
    find('connection').textContent = 'Live';
    state.requests = [];
    const { items } = await ask('GET', `requests?limit=${shownRequests}`);
    const known = new Set(items.map(({ id }) => id));
    // Some came while these were on their way.
    state.requests = [...state.requests.filter(({ id }) => !known.has(id)), ...items.reverse()];
    showRequests();
    refresh();
  });
  events.addEventListener('error', () => { find('connection').textContent = 'Not connected; trying again'; });
  events.addEventListener('request', ({ data }) => addRequest(JSON.parse(data)));
  events.addEventListener('change', refresh);
  events.addEventListener('forget', () => { state.requests = []; showRequests(); });
}

const turnPage = (by) => { state.offset = Math.max(0, state.offset + by); refresh(); };
find('previous').addEventListener('click', () => turnPage(-pageSize));
find('next').addEventListener('click', () => turnPage(pageSize));
find('reset').addEventListener('click', () => act(() => ask('POST', 'reset')));
find('forget').addEventListener('click', () => act(() => ask('DELETE', 'requests')));
find('filter').addEventListener('input', showRequests);
find('filter').addEventListener('submit', (event) => event.preventDefault());
find('copy').addEventListener('click', () => navigator.clipboard.writeText(find('curl').textContent));
find('advance').addEventListener('submit', (event) => {
  event.preventDefault();
  act(() => ask('POST', 'clock', JSON.stringify({ advance: Number(new FormData(event.target).get('seconds')) })));
});
find('add-rule').addEventListener('submit', (event) => {
  event.preventDefault();
  act(() => ask('POST', 'faults', new FormData(event.target).get('rule')));
});
find('seed').addEventListener('change', ({ target }) => act(async () => {
  if (target.files.length === 1) await ask('POST', 'seed', await target.files[0].text());
  target.value = '';
}));
connect();
