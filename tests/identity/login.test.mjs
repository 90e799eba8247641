// Signing in with a browser, and what other programs on the machine can do about it.

import assert from 'node:assert/strict';
import { readdirSync } from 'node:fs';
import { connect } from 'node:net';
import { test } from 'node:test';
import { makeHome, readTokens, runProbe, signIn } from './harness.mjs';
import { startProvider } from './provider.mjs';

const { issuer } = await startProvider();
const titleOf = (page) => /<title>(.*)<\/title>/.exec(page)[1];
const visitAll = async (address) => titleOf(await (await fetch(await signIn(address))).text());

test('two logins on one handler, one cancelled between them, leave nothing behind', async () => {
  const home = makeHome();
  const cancel = async (address) => {
    const back = new URL(await signIn(address));
    back.searchParams.delete('code');
    back.searchParams.set('error', 'access_denied');
    return titleOf(await (await fetch(back)).text());
  };
  const visits = [visitAll, cancel, visitAll];
  const person = (address) => visits.shift()(address);
  const run = await runProbe(home, issuer, ['key', 'login', 'key', 'relogin', 'relogin', 'group'], { person });
  const [before, first, key, cancelled, second, group] = run.lines;
  assert.equal(before.error, `not signed in to ${issuer}: call Login()`);
  assert.equal(key.result, first.result);
  assert.match(cancelled.error, /signing in was cancelled \(access_denied\)/);
  assert.notEqual(second.result, first.result);
  assert.equal(group.result, 'alpha');
  assert.deepEqual(readTokens(home).map((pair) => pair.accessToken), [second.result]);
  assert.deepEqual(run.titles, ['You are signed in', 'Signing in failed', 'You are signed in']);
  assert.deepEqual(run.lines.map(({ threads, descriptors }) => [threads, descriptors]), Array(6).fill([1, before.descriptors]));
  assert.deepEqual(run.browsers.map(({ descriptors }) => descriptors), [4, 4, 4]); // its streams and the one that counts
  assert.equal(run.output, '');
});

test('a program with 2,000 open files can sign in', async () => {
  const { lines, browsers } = await runProbe(makeHome(), issuer, ['open-files', 'login', 'key']);
  assert.deepEqual(lines.map(({ error }) => error), [undefined, undefined, undefined]);
  assert.deepEqual([lines[0].result, lines[2].result], [true, lines[1].result]);
  assert.deepEqual(browsers.map(({ descriptors }) => descriptors), [4]);
});

test('the browser is told nothing but the outcome, and the first good callback counts', async () => {
  for (const [change, reason] of [
    [(query) => query.set('iss', 'https://elsewhere.example'), /another issuer/],
    [(query) => query.delete('iss'), /another issuer/],
    [(query) => query.set('code', '<b>forged</b>'), /refused \(invalid_grant: /],
    [(query) => { query.delete('code'); query.set('error', '<b>access_denied</b>'); }, /unknown_error/],
  ]) {
    const run = await runProbe(makeHome(), issuer, ['login'], {
      person: async (address) => {
        const url = new URL(await signIn(address));
        change(url.searchParams);
        const answer = await fetch(url);
        const page = await answer.text();
        assert.equal(answer.headers.get('cache-control'), 'no-store');
        assert.equal(answer.headers.get('content-security-policy'), "default-src 'none'");
        assert.doesNotMatch(page, /forged|denied/);
        assert.equal(titleOf(page), 'Signing in failed');
      },
    });
    assert.match(run.lines[0].error, reason);
  }
});

test('a browser that cannot be started, or may not be, is an error at once', async () => {
  for (const [env, reason] of [
    [{ BROWSER: 'false:no-such-program' }, /no browser could be started.*BROWSER.*VARNEL_TOKEN/],
    [{ VARNEL_NONINTERACTIVE: '1' }, /VARNEL_TOKEN.*VARNEL_PASSWORD/],
    [{ VARNEL_NONINTERACTIVE: 'perhaps' }, /VARNEL_NONINTERACTIVE: must be/],
  ]) {
    const run = await runProbe(makeHome(), issuer, ['can', 'login', 'login'], { env });
    assert.equal(run.lines[0].result, false);
    assert.match(run.lines[1].error, reason);
    assert.equal(run.lines[2].descriptors, run.lines[0].descriptors);
    assert.equal(run.browsers.length, 0);
  }
});

// Opens a connection, sends something, and resolves to what comes back, "" when nothing does.
function send(url, text) {
  const socket = connect(url.port, url.hostname, () => socket.write(text));
  let answer = '';
  socket.unref().on('data', (data) => { answer += data; }).on('error', () => {});
  return { socket, answer: new Promise((resolve) => { socket.on('close', () => resolve(answer)); }) };
}

// Everything that is not the right callback; resolves when what gets an answer has got it.
async function disturb(address, run) {
  const asked = new URL(address).searchParams;
  const url = new URL(asked.get('redirect_uri'));
  const get = (target, host = url.host, method = 'GET') => `${method} ${target} HTTP/1.1\r\nHost: ${host}\r\n\r\n`;
  const state = asked.get('state');
  for (let i = 0; i < 8; i += 1) send(url, '');
  send(url, 'GET /callback?code=x HTT');
  const drip = send(url, 'G').socket;
  const timer = setInterval(() => drip.write('x'), 5).unref();
  drip.on('close', () => clearInterval(timer));
  const expected = [
    [get(`/callback?code=x&state=${state.slice(1)}A`), '400'],
    [get('/callback?code=x'), '400'],
    [get(`/callback?code=x&code=y&state=${state}`), '400'],
    [get(`/callback?state=${state}`), '400'],
    [get(`/callback?code=x&state=${state}&state=x`), '400'],
    [get(`/callback?code=x&state=${state}`, 'evil.example'), '400'],
    [get(`/callback?code=x&state=${state}`).replace('\r\n\r\n', `\r\nHost: ${url.host}\r\n\r\n`), '400'],
    [get(`/other?code=x&state=${state}`), '404'],
    [get(`/%63allback?code=x&state=${state}`), '404'],
    [get(`/callback?code=x&state=${state}`, url.host, 'POST'), '405'],
    ['\x16\x03\x01 nonsense\r\n\r\n', '400'],
    [get(`/callback?code=x&state=${'x'.repeat(20480)}`), undefined],
    ...Array(40).fill([get('/favicon.ico'), '404']),
  ];
  const answers = await Promise.all(expected.map(([text]) => send(url, text).answer));
  assert.deepEqual(answers.map((answer) => answer.split(' ')[1]), expected.map(([, status]) => status));
  assert.equal(readdirSync(`/proc/${run.child.pid}/task`).length, 1);
}

const isClosed = (address) => new Promise((resolve) => {
  const url = new URL(new URL(address).searchParams.get('redirect_uri'));
  connect(url.port, url.hostname, () => resolve(false)).on('error', () => resolve(true));
});

for (const isWanted of [true, false]) {
  test(`local connections cannot hinder a login ${isWanted ? 'or hear of it' : 'from ending at its limit'}`, async () => {
    const begin = Date.now();
    const run = await runProbe(makeHome(), issuer, ['can', 'relogin', 'relogin', 'key'], {
      person: async (address, probe) => {
        if (isWanted) await disturb(address, probe); else disturb(address, probe).catch(() => {});
        return isWanted && visitAll(address);
      },
      env: { VARNEL_LOGIN_TIMEOUT: isWanted ? '' : '3' },
    });
    assert.ok(Date.now() - begin < 100000);
    for (const { error } of run.lines.slice(1, 3)) assert.match(error ?? '', isWanted ? /^$/ : /nobody signed in within 3 s/);
    for (const { address } of run.browsers) assert.ok(await isClosed(address));
    assert.equal(run.lines[3].descriptors, run.lines[0].descriptors);
    assert.equal(run.output, '');
  });
}
