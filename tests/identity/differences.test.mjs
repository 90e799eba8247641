// What providers do differently, and what the library makes of it.

import assert from 'node:assert/strict';
import { readFileSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { test } from 'node:test';
import {
  ageToken, askKey, findFiles, findFreePort, listen, makeHome, makeSignedInHome, makeToken, readTokens, runProbe, signIn, startRelay, withPassword,
} from './harness.mjs';
import { startProvider } from './provider.mjs';

const provider = await startProvider();

// Comes back without "iss", which would be the provider's and not the relay's.
const goBack = async (address) => {
  const url = new URL(await signIn(address));
  url.searchParams.delete('iss');
  return fetch(url);
};

test('the callback comes to the ports that were set, the first free one', async () => {
  const [taken, other] = [await listen(createServer()), await listen(createServer())];
  const port = await findFreePort();
  for (const [ports, expected] of [
    [`${taken}, ${other},${port}-${port}`, port],
    [`${taken}`, /^callbackPorts: no port of \d+ is free on 127.0.0.1/],
    ['53682-', /^VARNEL_CALLBACK_PORTS: must be ports/],
    ['2-1', /^VARNEL_CALLBACK_PORTS: must be ports/],
    ['65536', /^VARNEL_CALLBACK_PORTS: must be ports/],
  ]) {
    const run = await runProbe(makeHome(), provider.issuer, ['relogin', 'relogin'], { env: { VARNEL_CALLBACK_PORTS: ports } });
    if (expected === port) {
      assert.equal(run.titles.length, 2);
      for (const { error } of run.lines) assert.equal(error, undefined);
      for (const { address: used } of run.browsers) assert.equal(new URL(new URL(used).searchParams.get('redirect_uri')).port, `${port}`);
    } else for (const { error } of run.lines) assert.match(error, expected);
  }
});

test('an ID token that comes belongs to this login', async () => {
  for (const [change, reason] of [
    [(answer) => answer, /^$/],
    [(answer) => ({ ...answer, id_token: undefined }), /^$/],
    [(answer) => ({ ...answer, id_token: makeToken({ nonce: 'x' }) }), /the ID token of another login/],
    [(answer) => ({ ...answer, id_token: makeToken({}) }), /the ID token of another login/],
  ]) {
    const relay = await startRelay(provider.issuer, ({ text }, response) => response.end(JSON.stringify(change(JSON.parse(text)))));
    const run = await runProbe(makeHome(), relay.issuer, ['login'], { person: goBack });
    assert.match(run.lines[0].error ?? '', reason);
    assert.equal(relay.sent.form.get('nonce'), null);
  }
});

test('the client\'s secret goes where the provider takes it', async () => {
  const basic = `Basic ${Buffer.from('varnel:s%20%26%25%2B%3A').toString('base64')}`;
  for (const [methods, credentials, secret] of [
    [undefined, basic, null],
    [['client_secret_post', 'client_secret_basic'], basic, null],
    [['private_key_jwt'], basic, null],
    [['client_secret_post'], undefined, 's &%+:'],
  ]) {
    const document = { token_endpoint_auth_methods_supported: methods };
    const relay = await startRelay(provider.issuer, ({ text }, response) => response.end(text), { document });
    await askKey(makeHome(), relay.issuer, { ...withPassword, VARNEL_CLIENT_SECRET: 's &%+:' });
    assert.equal(relay.sent.credentials, credentials);
    assert.equal(relay.sent.form.get('client_secret'), secret);
  }
});

test('a refusal is one in whatever words it comes, and they are shown without secrets', async () => {
  const words = (error, description) => JSON.stringify({ error, error_description: description });
  for (const [status, body, reason, tries] of [
    [403, '', /the password was refused \(status 403\)/, 1],
    [401, '<html>', /the password was refused \(status 401\)/, 1],
    [400, words('invalid_grant', 'Konto gespérrt\u001b[2J\u009b\n!'), /\(invalid_grant: Konto gespérrt \[2J  !\)/, 1],
    [400, words('invalid_grant', `${'x'.repeat(199)}éé`), /: x{199}é\.\.\.\)/, 1],
    [400, words('invalid_grant', 'is wonderland your password?'), /\(invalid_grant\)/, 1],
    [400, words('unauthorized_client', 'not for you'), /\(unauthorized_client: not for you\): check clientId/, 2],
    [404, '{}', /\(status 404\)/, 1],
  ]) {
    const relay = await startRelay(provider.issuer, (answer, response) => response.writeHead(status).end(body));
    const { lines: [first, second] } = await runProbe(makeHome(), relay.issuer, ['key', 'key'], { env: withPassword });
    assert.match(first.error, reason);
    assert.equal(relay.requests, tries);
    if (tries === 1) assert.match(second.error, /less than a minute ago/);
  }
});

test('any refused refresh makes way for the password, and ends no session that may still be good', async () => {
  for (const [body, isOver] of [['', false], ['{"error":"invalid_client"}', false], ['{"error":"invalid_grant"}', true]]) {
    const relay = await startRelay(provider.issuer, ({ text }, response) => {
      if (relay.sent.form.get('grant_type') === 'password') response.end(text); else response.writeHead(400).end(body);
    });
    const home = await makeSignedInHome(relay.issuer);
    const [{ refreshToken }] = readTokens(home);
    ageToken(home);
    const alone = await askKey(home, relay.issuer);
    assert.match(alone.error, /call Login\(\) \(renewing the token was refused/);
    assert.deepEqual(readTokens(home).map((pair) => pair.refreshToken), isOver ? [] : [refreshToken]);
    const helped = await askKey(home, relay.issuer, withPassword);
    assert.equal(helped.result, readTokens(home)[0].accessToken);
  }
});

test('a provider that asks for a pause gets it, from every process', async () => {
  for (const [status, after, reason, isLeftAlone] of [
    [429, '30', /too many requests were sent \(status 429\): try again in 30 s/, true],
    [503, new Date(Date.now() + 60e3).toUTCString(), /unavailable at the moment \(status 503\): try again in \d\d s/, true],
    [503, '', /status 503\): try again later/, false],
    [429, '-1', /status 429\): try again later/, false],
  ]) {
    const relay = await startRelay(provider.issuer, (answer, response) => response.writeHead(status, { 'Retry-After': after }).end());
    const home = makeHome();
    for (const [round, expected] of [reason, isLeftAlone ? /asked for a pause: try again in \d+ s/ : reason].entries()) {
      const { error } = await askKey(home, relay.issuer, withPassword);
      assert.match(error, expected);
      assert.equal(relay.discoveries, round === 0 || !isLeftAlone ? round + 1 : 1);
    }
  }
});

test('an opaque token ends when its answer said so', async () => {
  const realm = (await startProvider({ format: 'opaque', rotate: false })).issuer;
  for (const [lifetime, refreshes] of [[undefined, 0], ['60', 0], [3600, 0], [0, 2]]) {
    const relay = await startRelay(realm, ({ text }, response) => response.end(JSON.stringify({ ...JSON.parse(text), expires_in: lifetime })));
    const home = makeHome();
    await askKey(home, relay.issuer, withPassword, ['key', 'key', 'key']);
    assert.equal(relay.requests - 1, refreshes);
    if (lifetime !== 3600) continue;
    const [file] = findFiles(home, '.json');
    const document = JSON.parse(readFileSync(file));
    for (const [left, requests] of [[3600, 1], [20, 2]]) {
      writeFileSync(file, JSON.stringify({ ...document, issuedAt: document.issuedAt - 3600 + left, expiresAt: document.issuedAt + left }));
      await askKey(home, relay.issuer);
      assert.equal(relay.requests, requests);
    }
  }
});
