// Signing in with a real browser.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { openPage } from './chromium.mjs';
import { makeAuthority, makeHome, runProbe } from './harness.mjs';
import { alice } from './people.mjs';
import { startProvider } from './provider.mjs';

// Signs in, one try for each person given; resolves to the title of the page at the end.
const useChromium = (address, people = [alice]) => openPage(address, async (page) => {
  for (const [index, one] of people.entries()) {
    const { name, password, action } = { ...alice, ...one };
    if (index > 0) await page.find('#wrong');
    await page.type('[name=login]', name);
    await page.type('[name=password]', password);
    await page.click(`#${action}`);
  }
  return page.readTitle();
});

test('twice on one handler, cancelled, and with a wrong password first', async () => {
  const { issuer } = await startProvider();
  const visits = [[{}], [{ name: 'bob', password: 'builder' }], [{ action: 'cancel' }], [{ password: 'wrong' }, {}]];
  const person = (address) => useChromium(address, visits.shift());
  const run = await runProbe(makeHome(), issuer, ['relogin', 'group', 'relogin', 'group', 'relogin', 'relogin', 'group'], { person });
  assert.deepEqual(run.titles, ['You are signed in', 'You are signed in', 'Signing in failed', 'You are signed in']);
  const [, alice, , bob, cancelled, , again] = run.lines;
  assert.deepEqual([alice.result, bob.result, again.result], ['alpha', 'beta', 'alpha']);
  assert.match(cancelled.error, /signing in was cancelled \(access_denied\)/);
  assert.equal(run.output, '');
});

test('over HTTPS with a private authority and a client secret', async () => {
  const authority = makeAuthority();
  const secret = 'p&ss =word%+:of-the-client-that-is-long-enough';
  const { issuer, counts } = await startProvider({ tls: authority.issue('x', 'IP:127.0.0.1'), secret });
  const env = { VARNEL_CA_FILE: authority.file, VARNEL_CLIENT_SECRET: secret };
  const run = await runProbe(makeHome(), issuer, ['login', 'key', 'login'], { person: (address) => useChromium(address), env });
  assert.deepEqual(run.titles, ['You are signed in']);
  assert.equal(run.browsers[0].hasSecret, false);
  assert.deepEqual(run.lines.map(({ error }) => error), [undefined, undefined, undefined]);
  assert.equal(run.lines[1].result, run.lines[0].result);
  assert.deepEqual(counts, { 'authorization_code ok': 1, 'refresh_token ok': 1 });
});
