// Asks for everything that the description has and holds the answers against it.
import SwaggerParser from '@apidevtools/swagger-parser';
import Ajv from 'ajv/dist/2020.js';
import addFormats from 'ajv-formats';
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';

const { apiPort } = JSON.parse(readFileSync(process.env.VARNEL_CONFIG)).environments.local;
const base = `http://127.0.0.1:${apiPort}`;
// A connection that is kept may end by its time-out in the moment that it is used again.
const connection = 'close';
const { VARNEL_TOKEN, VARNEL_EMULATOR_KEY } = process.env;

function steer(method, path, body) {
  return fetch(`${base}/_local/${path}`, { method, body, headers: { connection, authorization: `Bearer ${VARNEL_EMULATOR_KEY}` } });
}

const description = await (await steer('GET', 'openapi.json')).json();
const api = await SwaggerParser.validate(structuredClone(description));
const ajv = addFormats(new Ajv({ strict: true, strictTypes: false, allowUnionTypes: true }));
const described = new Set();
for (const [path, methods] of Object.entries(api.paths)) {
  for (const [method, operation] of Object.entries(methods)) {
    for (const status of Object.keys(operation.responses ?? {})) described.add(`${method} ${path} ${status}`);
  }
}

const missing = new Set(described);

async function ask(method, path, target, status, body, token = path.startsWith('/_local') ? VARNEL_EMULATOR_KEY : VARNEL_TOKEN) {
  const where = `${method} ${path} ${status}`;
  const headers = { authorization: `Bearer ${token}`, connection };
  const answer = await fetch(base + target, { method: method.toUpperCase(), headers, body });
  const bytes = Buffer.from(await answer.arrayBuffer());
  assert.equal(answer.status, status, `${where}: ${bytes}`);
  assert.ok(described.has(where), `${where} is not described`);
  missing.delete(where);
  const { content, headers: named } = api.paths[path][method].responses[status];
  for (const name of Object.keys(named ?? {})) assert.ok(answer.headers.has(name), where);
  if (!content) return assert.equal(bytes.length, 0, where);
  const [type] = Object.keys(content);
  assert.equal(answer.headers.get('content-type'), type, where);
  const { schema } = content[type];
  if (schema) assert.ok(ajv.validate(schema, JSON.parse(bytes)), `${where}: ${ajv.errorsText()} ${bytes}`);
  const asked = api.paths[path][method].requestBody?.content['application/json'].schema;
  if (asked && body && status < 300) assert.ok(ajv.validate(asked, JSON.parse(body)), `${where}: ${ajv.errorsText()}`);
}

const good = {
  '/agent': '{"command": "start"}',
  '/users': '{"email": "a@b", "role": "viewer"}',
  '/users/{userId}': '{"role": "viewer"}',
  '/generateProject': '{"files": {"ä": "x"}}',
  '/_local/seed': await (await steer('GET', 'export')).text(),
  '/_local/clock': '{"advance": 1.5}',
  '/_local/scenarios': '{"name": "boot", "state": "warm"}',
  '/_local/check/requests': '{"atLeast": 0}',
  '/_local/faults': '[{"action": "delay", "delay": 0.001, "times": 0}]',
};
// What has to be there first.
const rules = {
  '/_local/faults/{rule}': { name: 'one', action: 'reset', path: '/none' },
  '/_local/check/faults 409': { action: 'reset', path: '/none', required: true },
};
const ids = { rule: 'one', simulationId: 'sim-bridge', executionId: 'exe-2', userId: 'usr-2' };
const fill = (path, known) => path.replace(/{(\w+)}/g, (_, name) => (known ? ids[name] : 'none'));
// What deletes comes last.
const order = [...missing].sort((a, b) => /^delete.*204/.test(a) - /^delete.*204/.test(b));
for (const where of order) {
  const [method, path, text] = where.split(' ');
  const status = Number(text);
  const takesBody = method === 'post' || method === 'patch';
  const body = takesBody ? { 400: '{', 409: path.endsWith('/requests') ? '{"times": 99}' : undefined, 422: /\/(inputs|simulations|finish|fail)$/.test(path) ? '1' : '{"name": "/"}' }[status] ?? good[path] ?? '{}' : undefined;
  const rule = rules[path] ?? rules[`${path} ${text}`];
  await steer('DELETE', 'faults');
  if (rule) await steer('POST', 'faults', JSON.stringify(rule));
  const query = status === 422 && !takesBody ? '?limit=x' : '';
  if (status === 403) missing.delete(where); // needs --auth groups; the same document as 401
  else if (status === 401) await ask(method, path, fill(path, true), 401, body, '');
  else {
    if (where.startsWith('delete') && status === 409) await ask('post', `${path}/executions`, `${fill(path, true)}/executions`, 201, '{}');
    await ask(method, path, fill(path, status !== 404) + query, status, body);
    if (where.startsWith('delete') && status === 409) await ask('post', '/_local/reset', '/_local/reset', 200);
  }
}
assert.deepEqual([...missing], [], 'never asked for');
