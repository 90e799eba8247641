// Asks for everything that the description has and holds the answers, and the description's own examples,
// against it.
import SwaggerParser from '@apidevtools/swagger-parser';
import { Validator } from '@seriousme/openapi-schema-validator';
import Ajv from 'ajv/dist/2020.js';
import addFormats from 'ajv-formats';
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { request } from 'node:http';

const { VARNEL_CONFIG, VARNEL_TOKEN, VARNEL_EMULATOR_KEY } = process.env;
const { apiPort } = JSON.parse(readFileSync(VARNEL_CONFIG)).environments.local;

function send(method, path, body, headers) {
  return new Promise((resolve, reject) => {
    const options = { host: '127.0.0.1', port: apiPort, method: method.toUpperCase(), path, headers, agent: false };
    request(options, async (answer) => {
      const bytes = Buffer.concat(await answer.toArray());
      resolve({ status: answer.statusCode, headers: answer.headers, bytes });
    }).on('error', reject).end(body);
  });
}

const bearer = (path) => ({ authorization: `Bearer ${path.startsWith('/_local') ? VARNEL_EMULATOR_KEY : VARNEL_TOKEN}` });
const steer = (method, path, body) => send(method, path, body, bearer(path));

const description = JSON.parse((await steer('get', '/_local/openapi.json')).bytes);
const outcome = await new Validator().validate(structuredClone(description));
assert.ok(outcome.valid, JSON.stringify(outcome.errors));
const api = await SwaggerParser.validate(structuredClone(description));
const ajv = addFormats(new Ajv({ strict: true, strictTypes: false, allowUnionTypes: true }));
const requireValid = (schema, document, where) => assert.ok(ajv.validate(schema, document), `${where}: ${ajv.errorsText()} ${JSON.stringify(document)}`);
const described = new Set();
for (const [path, methods] of Object.entries(api.paths)) {
  for (const [method, { responses, requestBody }] of Object.entries(methods)) {
    for (const [status, { content }] of Object.entries(responses ?? {})) {
      described.add(`${method} ${path} ${status}`);
      const { schema, example } = content?.['application/json'] ?? {};
      if (example !== undefined) requireValid(schema, example, `the example of ${method} ${path} ${status}`);
    }
    if (!requestBody) continue;
    const { schema, example } = requestBody.content['application/json'];
    assert.notEqual(example, undefined, `${method} ${path} has no example`);
    requireValid(schema, example, `the example for ${method} ${path}`);
  }
}

const missing = new Set(described);

async function ask(method, path, target, status, body, headers = bearer(path)) {
  const where = `${method} ${path} ${status}`;
  const answer = await send(method, target, body, headers);
  assert.equal(answer.status, status === 'default' ? 431 : Number(status), `${where}: ${answer.bytes}`);
  assert.ok(described.has(where), `${where} is not described`);
  missing.delete(where);
  const { content, headers: named } = api.paths[path][method].responses[status];
  for (const name of Object.keys(named ?? {})) assert.ok(answer.headers[name.toLowerCase()], where);
  if (!content) return assert.equal(answer.bytes.length, 0, where);
  const [type] = Object.keys(content);
  assert.equal(answer.headers['content-type'], type, where);
  const { schema } = content[type];
  if (schema) requireValid(schema, JSON.parse(answer.bytes), where);
}

// What has to be there first.
const rules = {
  '/_local/faults/{rule}': { name: 'slow', action: 'reset', path: '/none' },
  '/_local/check/faults 409': { action: 'reset', path: '/none', required: true },
};
const fill = (path, isKnown) => path.replace(/{(\w+)}/g, (_, name) => (isKnown ? api.components.parameters[name].example : 'none'));
const wrong = (path) => (/\/(inputs|simulations|finish|fail)$/.test(path) ? '1' : '{"name": "/"}');
// A reset goes back to the last seed, so that comes last.
const rank = (where) => Number(where === 'post /_local/seed 200');
for (const where of [...missing].sort((a, b) => rank(a) - rank(b))) {
  const [method, path, status] = where.split(' ');
  const asked = api.paths[path][method].requestBody?.content['application/json'];
  const body = asked && ({ 400: '{', 409: path.endsWith('/requests') ? '{"times": 99}' : undefined, 422: wrong(path) }[status] ?? JSON.stringify(asked.example));
  const target = fill(path, status !== '404') + (status === '422' && !asked ? '?limit=x' : '');
  await steer('post', '/_local/reset');
  const rule = rules[path] ?? rules[`${path} ${status}`];
  if (rule) await steer('post', '/_local/faults', JSON.stringify(rule));
  if (where === 'post /users 409') await steer('post', target, body);
  if (where.startsWith('delete') && status === '409') await steer('post', `${target}/executions`, '{}');
  const headers = { 401: {}, 403: { host: 'rebound.example' }, default: { 'x-long': 'x'.repeat(70000) } }[status];
  await ask(method, path, target, status, body, headers);
}
assert.deepEqual([...missing], [], 'never asked for');
