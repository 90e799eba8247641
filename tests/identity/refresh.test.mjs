// What becomes of a session: renewed, shared, lost, and kept apart from others.

import assert from 'node:assert/strict';
import { utimesSync, writeFileSync } from 'node:fs';
import { test } from 'node:test';
import { makeAuthority } from './certificates.mjs';
import {
  ageToken, findFiles, makeHome, makeToken, readTokens, runProbe, startProbe, startRelay,
} from './harness.mjs';
import { startProvider } from './provider.mjs';

const alice = { VARNEL_USERNAME: 'alice' }; // without a password, so that only a refresh is left
const withPassword = { ...alice, VARNEL_PASSWORD: 'wonderland' };
const realmOf = (provider, name = 'main') => `${provider.origin}/realms/${name}`;

// A home where alice has signed in with her password.
async function signedInHome(issuer, env = {}) {
  const home = makeHome();
  const run = await runProbe(home, issuer, ['key'], { env: { ...withPassword, ...env } });
  assert.equal(run.lines[0].error, undefined);
  return home;
}
const askKey = async (home, issuer, env = {}, operations = ['key']) => {
  const run = await runProbe(home, issuer, operations, { env: { ...alice, ...env } });
  assert.equal(run.output, '');
  return run.lines.at(-1);
};

test('a session goes on over refreshes in new processes', async () => {
  const provider = await startProvider();
  const home = await signedInHome(realmOf(provider));
  const seen = new Set();
  for (let i = 0; i < 3; i += 1) {
    ageToken(home, i === 2 ? 10 : -10); // the last one is over within its leeway
    const { result } = await askKey(home, realmOf(provider));
    const [{ accessToken, refreshToken }] = readTokens(home);
    assert.equal(result, accessToken);
    seen.add(refreshToken);
  }
  assert.equal(seen.size, 3);
  assert.deepEqual(provider.counts, { 'password ok': 1, 'refresh_token ok': 3 });
});

test('a refresh token that is not replaced is kept', async () => {
  const provider = await startProvider({ rotate: false });
  const relay = await startRelay(realmOf(provider), async ({ text }, response) => {
    response.end(relay.requests === 1 ? text : JSON.stringify({ ...JSON.parse(text), refresh_token: undefined }));
  });
  const home = await signedInHome(relay.issuer);
  const [{ refreshToken }] = readTokens(home);
  ageToken(home);
  const { result } = await askKey(home, relay.issuer);
  assert.deepEqual(readTokens(home), [{ accessToken: result, refreshToken }]);
});

for (const delayMs of [0, 1500]) {
  test(`eight processes send one refresh, answered after ${delayMs} ms`, async () => {
    const provider = await startProvider({ delayMs });
    const home = await signedInHome(realmOf(provider));
    ageToken(home);
    const runs = Array.from({ length: 8 }, () => startProbe(home, realmOf(provider), ['pause', 'key'], { env: alice }));
    await Promise.all(runs.map((run) => run.paused));
    for (const run of runs) run.resume();
    const keys = (await Promise.all(runs.map((run) => run.done))).map(({ lines }) => lines[1].result);
    assert.deepEqual(keys, Array(8).fill(readTokens(home)[0].accessToken));
    assert.deepEqual(provider.counts, { 'password ok': 1, 'refresh_token ok': 1 });
  });
}

test('a process killed between answer and store costs one session at most', async () => {
  const provider = await startProvider();
  let run;
  const relay = await startRelay(realmOf(provider), async ({ status, text }, response) => {
    if (run && round === 0) { run.child.kill('SIGKILL'); return; }
    const child = run?.child;
    response.writeHead(status).end(text, () => setTimeout(() => child?.kill('SIGKILL'), (round - 1) / 2));
  });
  let round = 0;
  for (; round < 12; round += 1) {
    run = undefined;
    const home = await signedInHome(relay.issuer);
    ageToken(home);
    const [before] = readTokens(home);
    run = startProbe(home, relay.issuer, ['key'], { env: alice });
    await run.done;
    run = undefined;
    const [after] = readTokens(home); // a torn file cannot be parsed
    assert.ok((after.accessToken === before.accessToken) === (after.refreshToken === before.refreshToken));
    const line = await askKey(home, relay.issuer);
    if (line.error) assert.match(line.error, /not signed in to .*: call Login\(\)$/);
    if (round === 0) assert.deepEqual(readTokens(home), []);
  }
});

test('a session that was ended is forgotten, and nothing else is', async () => {
  const provider = await startProvider();
  for (const left of [10, -10]) {
    const home = await signedInHome(realmOf(provider));
    provider.revokeSessions();
    const old = ageToken(home, left);
    const line = await askKey(home, realmOf(provider), {}, ['key', 'key']);
    assert.equal(left > 0 ? line.result : line.error, left > 0 ? old : `not signed in to ${realmOf(provider)}: call Login()`);
    assert.deepEqual(readTokens(home), left > 0 ? [{ accessToken: old, refreshToken: '' }] : []);
  }
  assert.equal(provider.counts['refresh_token error'], 2);

  const other = { accessToken: makeToken({ exp: 4e9 }), refreshToken: 'of another login meanwhile' };
  const relay = await startRelay(realmOf(provider), async ({ text }, response) => {
    if (relay.requests === 1) { response.end(text); return; }
    writeFileSync(findFiles(home, '.json')[0], JSON.stringify(other));
    response.writeHead(400).end('{"error":"invalid_grant"}');
  });
  const home = await signedInHome(relay.issuer);
  ageToken(home);
  assert.equal((await askKey(home, relay.issuer)).result, other.accessToken);
  assert.deepEqual(readTokens(home), [other]);
});

test('trouble on the way throws nothing away and sends no refresh twice', async () => {
  const provider = await startProvider();
  const authority = makeAuthority(makeHome());
  const env = { VARNEL_CA_FILE: authority.file };
  const relay = await startRelay(realmOf(provider), async ({ text }, response) => {
    if (relay.requests === 1) response.end(text); else response.socket.end();
  }, { tls: authority.issue('x', 'IP:127.0.0.1') });
  const home = await signedInHome(relay.issuer, env);
  const [{ refreshToken }] = readTokens(home);
  for (const [isDown, left, requests] of [[true, 10, 1], [true, -10, 1], [false, 10, 2], [false, 10, 2], [false, -10, 2]]) {
    relay.isDown = isDown;
    const old = ageToken(home, left);
    const line = await askKey(home, relay.issuer, env, ['key', 'key']);
    if (left > 0) assert.equal(line.result, old); else assert.match(line.error, isDown ? /no complete answer/ : /call Login\(\)$/);
    assert.equal(relay.requests, requests);
    assert.deepEqual(readTokens(home), [{ accessToken: old, refreshToken }]);
  }
});

test('a clock that is an hour off does not ask again and again', async (t) => {
  const real = Date.now;
  t.after(() => { Date.now = real; });
  for (const hours of [1, -1]) {
    const provider = await startProvider();
    Date.now = () => real() + hours * 3600e3;
    const home = makeHome();
    const run = await runProbe(home, realmOf(provider), ['login', 'key', 'key'], { env: alice });
    assert.deepEqual(run.lines.map(({ result }) => result), Array(3).fill(readTokens(home)[0].accessToken));
    assert.deepEqual(provider.counts, { 'authorization_code ok': 1 });
    await askKey(home, realmOf(provider), {}, ['key', 'key', 'key']);
    assert.equal(provider.counts['refresh_token ok'] ?? 0, hours > 0 ? 0 : 1); // one to learn the time
    Date.now = real;
  }
});

test('a refused password is not tried again for a minute', async () => {
  const provider = await startProvider();
  const home = await signedInHome(realmOf(provider)); // bob is another user at the same place
  const env = { VARNEL_USERNAME: 'bob', VARNEL_PASSWORD: 'wrong' };
  const run = await runProbe(home, realmOf(provider), ['key', 'key', 'login', 'relogin'], { env });
  assert.match(run.lines[0].error, /the password was refused \(invalid_grant\)/);
  for (const line of run.lines.slice(1)) assert.match(line.error, /less than a minute ago/);
  assert.equal(provider.counts['password error'], 1);
  const [mark] = findFiles(home, '.refused');
  utimesSync(mark, Date.now() / 1000 - 61, Date.now() / 1000 - 61);
  const later = await runProbe(home, realmOf(provider), ['key'], { env: { ...env, VARNEL_PASSWORD: 'builder' } });
  assert.equal(later.lines[0].error, undefined);
  assert.equal((await runProbe(home, realmOf(provider), ['group'], { env: alice })).lines[0].result, 'alpha');
});

test('users, realms and environments never see each other\'s tokens', async () => {
  const provider = await startProvider({ realms: ['main', 'other'] });
  const home = makeHome();
  const people = [['alice', 'wonderland'], ['bob', 'builder']];
  const all = people.flatMap(([name, password]) => ['main', 'other'].flatMap((realm) => ['local', 'staging'].map((environment) => ({
    realm, password, env: { VARNEL_USERNAME: name, VARNEL_ENVIRONMENT: environment },
  }))));
  const keys = [];
  for (const { realm, password, env } of all) {
    assert.match((await askKey(home, realmOf(provider, realm), env)).error, /not signed in/);
    keys.push((await askKey(home, realmOf(provider, realm), { ...env, VARNEL_PASSWORD: password })).result);
  }
  assert.equal(new Set(keys).size, 8);
  for (const [index, { realm, env }] of all.entries()) {
    assert.equal((await askKey(home, realmOf(provider, realm), env)).result, keys[index]);
  }
  const own = makeHome();
  const run = await runProbe(own, realmOf(provider), ['login', 'as-bob', 'relogin', 'key'], { env: withPassword });
  assert.deepEqual(readTokens(own).map(({ accessToken }) => accessToken), [run.lines[0].result]);
  assert.equal(run.lines[3].result, run.lines[2].result);
});

test('without a place for tokens they last as long as the handler', async () => {
  const provider = await startProvider();
  const run = await runProbe('/dev/null', realmOf(provider), ['login', 'key', 'login'], { env: withPassword });
  assert.equal(run.lines[1].result, run.lines[0].result);
  assert.deepEqual(provider.counts, { 'password ok': 1, 'refresh_token ok': 1 });
});

test('an opaque token is used without being renewed', async () => {
  const provider = await startProvider({ format: 'opaque', lifetime: 1 });
  const home = await signedInHome(realmOf(provider));
  const run = await runProbe(home, realmOf(provider), ['key', 'group', 'can'], { env: alice });
  assert.deepEqual(run.lines.map(({ result }) => result), [readTokens(home)[0].accessToken, '', true]);
  assert.deepEqual(provider.counts, { 'password ok': 1 });
});
