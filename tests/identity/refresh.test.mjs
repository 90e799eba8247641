// What becomes of a session: renewed, shared, lost, and kept apart from others.

import assert from 'node:assert/strict';
import { rmSync, writeFileSync } from 'node:fs';
import { test } from 'node:test';
import {
  ageToken, alice, askKey, findFiles, makeAuthority, makeHome, makeSignedInHome, makeToken, readTokens, runProbe, startProbe, startRelay, withPassword,
} from './harness.mjs';
import { startProvider } from './provider.mjs';

test('a session goes on over refreshes in new processes, whose refresh token may be replaced', async () => {
  for (const isReplaced of [true, false]) {
    const { issuer, counts } = await startProvider({ rotate: isReplaced });
    const relay = await startRelay(issuer, ({ text }, response) => {
      response.end(isReplaced || relay.requests === 1 ? text : JSON.stringify({ ...JSON.parse(text), refresh_token: undefined }));
    });
    const home = await makeSignedInHome(relay.issuer);
    for (const left of [-10, -10, 10]) { // the last one is over within its leeway
      ageToken(home, left);
      const [before] = readTokens(home);
      const { result } = await askKey(home, relay.issuer);
      const [{ accessToken, refreshToken }] = readTokens(home);
      assert.equal(accessToken, result);
      assert.equal(refreshToken !== before.refreshToken, isReplaced);
    }
    assert.deepEqual(counts, { 'password ok': 1, 'refresh_token ok': 3 });
  }
});

test('a session that was ended is forgotten, and nothing else is', async () => {
  const provider = await startProvider();
  for (const left of [10, -10]) {
    const home = await makeSignedInHome(provider.issuer);
    provider.endSessions();
    const old = ageToken(home, left);
    const line = await askKey(home, provider.issuer, {}, ['key', 'key']);
    assert.equal(line.result ?? line.error, left > 0 ? old : `not signed in to ${provider.issuer}: call Login()`);
    assert.deepEqual(readTokens(home), left > 0 ? [{ accessToken: old, refreshToken: '' }] : []);
  }
  const good = await makeSignedInHome(provider.issuer);
  provider.endSessions();
  ageToken(good, 200);
  const { result } = await askKey(good, provider.issuer, {}, ['login']); // asks the person, for the token still good
  assert.deepEqual(readTokens(good).map(({ accessToken }) => accessToken), [result]);
  assert.equal(provider.counts['refresh_token error'], 3);
  assert.equal(provider.counts['authorization_code ok'], 1);
});

test('a refresh undoes no sign-out and no sign-in that came while it was under way', async () => {
  const other = { accessToken: makeToken({ exp: 4e9 }), refreshToken: 'of another login meanwhile' };
  for (const [meanwhile, isRefused] of [[[], false], [[other], false], [[other], true]]) {
    const relay = await startRelay((await startProvider()).issuer, ({ text }, response) => {
      if (relay.requests > 1) {
        const [file] = findFiles(home, '.json');
        if (meanwhile.length) writeFileSync(file, JSON.stringify(other)); else rmSync(file);
        relay.renewed = JSON.parse(text).access_token;
        if (isRefused) response.writeHead(400);
      }
      response.end(isRefused && relay.requests > 1 ? '{"error":"invalid_grant"}' : text);
    });
    const home = await makeSignedInHome(relay.issuer);
    ageToken(home);
    assert.equal((await askKey(home, relay.issuer)).result, isRefused ? other.accessToken : relay.renewed);
    assert.deepEqual(readTokens(home), meanwhile);
  }
});

test('trouble on the way throws nothing away, and a refresh whose answer was lost is repeated', async () => {
  const authority = makeAuthority();
  const env = { VARNEL_CA_FILE: authority.file };
  const relay = await startRelay((await startProvider({ rotate: false })).issuer, ({ text }, response) => {
    if (relay.isLosing) response.socket.end(); else response.end(text);
  }, { tls: authority.issue('x', 'IP:127.0.0.1') });
  const home = await makeSignedInHome(relay.issuer, env);
  const [{ refreshToken }] = readTokens(home);
  relay.isLosing = true;
  // A token that is still good spares the provider the second question.
  for (const [isDown, left, requests] of [[true, 10, 1], [true, -10, 1], [false, 10, 2], [false, 10, 3], [false, -10, 5]]) {
    relay.isDown = isDown;
    const old = ageToken(home, left);
    const line = await askKey(home, relay.issuer, env, ['key', 'key']);
    if (left > 0) assert.equal(line.result, old); else assert.match(line.error, /no complete answer/);
    assert.equal(relay.requests, requests);
    assert.deepEqual(readTokens(home), [{ accessToken: old, refreshToken }]);
  }
  relay.isLosing = false;
  assert.equal((await askKey(home, relay.issuer, env)).error, undefined);
});

test('a clock that is an hour off does not ask again and again', async (t) => {
  const real = Date.now;
  t.after(() => { Date.now = real; });
  for (const hours of [1, -1]) {
    const { issuer, counts } = await startProvider();
    Date.now = () => real() + hours * 3600e3;
    const home = makeHome();
    await runProbe(home, issuer, ['login', 'key', 'key'], { env: alice });
    assert.deepEqual(counts, { 'authorization_code ok': 1 });
    await askKey(home, issuer, {}, ['key', 'key', 'key']);
    assert.equal(counts['refresh_token ok'], undefined);
    Date.now = real;
  }
});

test('a refused password is not tried again for a minute', async () => {
  const { issuer, counts } = await startProvider();
  const home = await makeSignedInHome(issuer); // bob is another user at the same place
  const env = { VARNEL_USERNAME: 'bob', VARNEL_PASSWORD: 'wrong' };
  const { lines: [refused, ...later] } = await runProbe(home, issuer, ['key', 'key', 'login', 'relogin'], { env });
  assert.match(refused.error, /the password was refused \(invalid_grant: /);
  for (const { error } of later) assert.match(error, /less than a minute ago/);
  assert.equal(counts['password error'], 1);
  writeFileSync(findFiles(home, '.refused')[0], `${Math.floor(Date.now() / 1000)}`); // over by now
  assert.equal((await askKey(home, issuer, { ...env, VARNEL_PASSWORD: 'builder' }, ['group'])).result, 'beta');
  assert.equal((await askKey(home, issuer, {}, ['group'])).result, 'alpha');
});

test('a program whose settings turn to another user keeps the two apart', async () => {
  const { issuer } = await startProvider();
  const home = makeHome();
  const { lines } = await runProbe(home, issuer, ['login', 'as-bob', 'relogin', 'key'], { env: withPassword });
  assert.deepEqual(readTokens(home).map(({ accessToken }) => accessToken), [lines[0].result]);
  assert.equal(lines[3].result, lines[2].result);
});

test('a session outlives a store that fails, but not one that somebody has emptied', async () => {
  const { issuer, counts } = await startProvider();
  const { lines } = await runProbe('/dev/null', issuer, ['login', 'key', 'login', 'relogin'], { env: withPassword });
  for (const { operation, unstored } of lines) assert.equal(unstored !== undefined, operation !== 'key', operation);
  assert.deepEqual(counts, { 'password ok': 2, 'refresh_token ok': 1 });
  const home = await makeSignedInHome(issuer);
  const run = startProbe(home, issuer, ['key', 'pause', 'login'], { env: withPassword });
  await run.paused;
  rmSync(findFiles(home, '.json')[0]);
  run.resume();
  await run.done;
  assert.deepEqual(counts, { 'password ok': 4, 'refresh_token ok': 1 });
});
