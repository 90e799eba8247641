// Signing in at glewlwyd, which compares the redirect with its port, wants a nonce, renews a refresh
// token with each use and refuses without a word.

import assert from 'node:assert/strict';
import { writeFileSync } from 'node:fs';
import { test } from 'node:test';
import { startGlewlwyd } from './glewlwyd.mjs';
import { ageToken, askKey, findFiles, findFreePort, makeHome, readTokens, runProbe, runVarnel } from './harness.mjs';
import { clientSecret } from './packaged.mjs';
import { openPage } from '../support/chromium.mjs';

const callbackPort = await findFreePort();
const { issuer, authority } = await startGlewlwyd(callbackPort);
const asPublic = { VARNEL_CA_FILE: authority, VARNEL_USERNAME: 'alice', VARNEL_CLIENT_ID: 'public', VARNEL_CALLBACK_PORTS: `${callbackPort}` };
const withSecret = { ...asPublic, VARNEL_CLIENT_ID: 'varnel', VARNEL_CLIENT_SECRET: clientSecret };
const withPassword = { ...withSecret, VARNEL_PASSWORD: 'wonderland' };

async function signIn(page, passwords = ['wonderland']) {
  await page.type('#username', 'alice');
  for (const password of passwords) {
    await page.type('#password', password);
    await page.click('#loginbut');
    if (password !== 'wonderland') await page.find('.toast-body');
  }
}
const goBack = (passwords) => (address) => openPage(address, async (page) => {
  await signIn(page, passwords);
  await page.click('.btn-success');
  return page.readTitle();
});

test('two logins in a browser on one port, and refreshes after them', async () => {
  for (const env of [asPublic, withSecret]) {
    const home = makeHome();
    const person = goBack(['wrong', 'wonderland']);
    const { lines: [first, group, again, renewed], titles } = await runProbe(home, issuer, ['login', 'group', 'relogin', 'login'], { person, env });
    assert.deepEqual([first, group, again, renewed].map(({ error }) => error), Array(4).fill());
    assert.deepEqual(titles, ['You are signed in', 'You are signed in']);
    assert.equal(group.result, 'alpha');
    for (let i = 0; i < 2; i += 1) {
      const [{ refreshToken }] = readTokens(home);
      ageToken(home);
      const { result } = await askKey(home, issuer, env);
      assert.equal(readTokens(home)[0].accessToken, result);
      assert.notEqual(readTokens(home)[0].refreshToken, refreshToken);
    }
  }
});

test('a person who does not grant what the program asks for ends a login', async () => {
  const leave = (address) => openPage(address, async (page) => { await signIn(page); await page.click('.btn-danger'); });
  const { lines } = await runProbe(makeHome(), issuer, ['login'], { person: leave, env: { ...asPublic, VARNEL_SCOPE: 'api', VARNEL_LOGIN_TIMEOUT: '6' } });
  assert.match(lines[0].error, /nobody signed in within 6 s/);
});

test('a refresh token that was used before ends the session, which a password begins anew, but no wrong one', async () => {
  const home = makeHome();
  assert.equal((await askKey(home, issuer, withPassword, ['key', 'group'])).result, 'alpha');
  const [file] = findFiles(home, '.json');
  const [used] = readTokens(home);
  ageToken(home);
  assert.equal((await askKey(home, issuer, withPassword)).error, undefined);
  for (const [password, reason] of [['', /^not signed in to .*: call Login\(\)/], ['wonderland', /^$/]]) {
    writeFileSync(file, JSON.stringify(used));
    ageToken(home);
    const { error } = await askKey(home, issuer, { ...withPassword, VARNEL_PASSWORD: password });
    assert.match(error ?? '', reason);
  }
  assert.match((await askKey(makeHome(), issuer, { ...withPassword, VARNEL_PASSWORD: 'wrong' })).error, /the password was refused/);
});

test('a login on another device, and the end of its session at the provider', { skip: !process.env.VARNEL }, async () => {
  const home = makeHome();
  let visit;
  const env = { VARNEL_AUTH_HOST: issuer, ...withSecret };
  const see = (text) => {
    const address = /(https:\/\/\S+\/device\?code=\S+)\s/.exec(text)?.[1];
    if (address) visit ??= openPage(address, async (page) => { await signIn(page); await page.click('.btn-success'); await page.find('.card-body h3'); });
  };
  const login = await runVarnel(home, ['login', '--device'], { env, see });
  assert.equal(login.status, 0, login.err);
  await visit;
  const [file] = findFiles(home, '.json');
  const [tokens] = readTokens(home);
  assert.match((await runVarnel(home, ['logout'], { env })).err, /at the provider/);
  writeFileSync(file, JSON.stringify(tokens), { mode: 0o600 });
  ageToken(home);
  assert.match((await askKey(home, issuer, withSecret)).error, /call Login/);
});
