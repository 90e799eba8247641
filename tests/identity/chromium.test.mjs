// Signing in with a real browser.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { makeAuthority } from './certificates.mjs';
import { makeHome, runProbe } from './harness.mjs';
import { useChromium } from './people.mjs';
import { startProvider } from './provider.mjs';

test('twice on one handler, cancelled, and with a wrong password first', async () => {
  const provider = await startProvider();
  const visits = [[{}], [{ name: 'bob', password: 'builder' }], [{ action: 'cancel' }], [{ password: 'wrong' }, {}]];
  const run = await runProbe(makeHome(), `${provider.origin}/realms/main`, ['relogin', 'group', 'relogin', 'group', 'relogin', 'relogin', 'group'], {
    person: (address) => useChromium(address, visits.shift()),
  });
  assert.deepEqual(run.titles, ['You are signed in', 'You are signed in', 'Signing in failed', 'You are signed in']);
  const [, alice, , bob, cancelled, , again] = run.lines;
  assert.deepEqual([alice.result, bob.result, again.result], ['alpha', 'beta', 'alpha']);
  assert.match(cancelled.error, /signing in was cancelled \(access_denied\)/);
  assert.equal(run.output, '');
});

test('over HTTPS with a private authority and a client secret', async () => {
  const authority = makeAuthority(makeHome());
  const secret = 'p&ss =word%+:of-the-client-that-is-long-enough';
  const provider = await startProvider({ tls: authority.issue('x', 'IP:127.0.0.1'), secret });
  const env = { VARNEL_CA_FILE: authority.file, VARNEL_CLIENT_SECRET: secret };
  const run = await runProbe(makeHome(), `${provider.origin}/realms/main`, ['login', 'key', 'login'], { person: (address) => useChromium(address), env });
  assert.deepEqual(run.titles, ['You are signed in']);
  assert.deepEqual(run.lines.map(({ error }) => error), [undefined, undefined, undefined]);
  assert.equal(run.lines[1].result, run.lines[0].result);
  assert.deepEqual(provider.counts, { 'authorization_code ok': 1, 'refresh_token ok': 1 });
});
