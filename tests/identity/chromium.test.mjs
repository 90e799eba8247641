// Signing in with a real browser.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { test } from 'node:test';
import { By } from 'selenium-webdriver';
import { Driver, Options, ServiceBuilder } from 'selenium-webdriver/chrome.js';
import { makeAuthority, makeHome, runProbe } from './harness.mjs';
import { alice } from './people.mjs';
import { startProvider } from './provider.mjs';

if (spawnSync('chromedriver', ['--version']).error) {
  console.log('skipped: no Chromium: apt-get install chromium chromium-driver');
  process.exit(process.env.CI === 'true' ? 1 : 77);
}

// Signs in with a headless Chromium, one try for each person given, and returns the title of the
// page at the end. Certificates are not checked, since the authority is the test's own.
async function useChromium(address, people = [alice]) {
  const options = new Options().setAcceptInsecureCerts(true)
    .addArguments('--headless', '--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking');
  const driver = Driver.createSession(options, new ServiceBuilder('chromedriver').build());
  try {
    await driver.manage().setTimeouts({ implicit: 20000 });
    await driver.get(address);
    for (const [index, { name, password, action }] of people.map((one) => ({ ...alice, ...one })).entries()) {
      if (index > 0) await driver.findElement(By.id('wrong'));
      await driver.findElement(By.name('login')).sendKeys(name);
      await driver.findElement(By.name('password')).sendKeys(password);
      await driver.findElement(By.id(action)).click();
    }
    await driver.findElement(By.css('h1')); // only the program's own page has one
    return await driver.getTitle();
  } finally {
    await driver.quit();
  }
}

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
