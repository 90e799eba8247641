// Signing in at LemonLDAP::NG, which compares the redirect with its port and issues refresh tokens in
// a browser alone.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { ageToken, findFreePort, makeHome, readTokens, runProbe } from './harness.mjs';
import { startLemonldap } from './lemonldap.mjs';
import { clientSecret } from './packaged.mjs';
import { openPage } from '../support/chromium.mjs';

const callbackPort = await findFreePort();
const { issuer, authority } = await startLemonldap(callbackPort);
const env = { VARNEL_CA_FILE: authority, VARNEL_CLIENT_SECRET: clientSecret, VARNEL_CALLBACK_PORTS: `${callbackPort}` };

const goBack = (name, passwords, answer = '.positive') => (address) => openPage(address, async (page) => {
  for (const password of passwords) {
    await page.type('[name=user]', name);
    await page.type('[name=password]', password);
    await page.click('[type=submit]');
    if (password === 'wrong') await page.find('.message-negative, .alert-danger');
  }
  const next = await page.find('.positive, h1'); // who has consented before is not asked
  if (await next.getTagName() === 'button') await page.click(answer);
  return page.readTitle();
});
const ask = async (home, operations, person, more = {}) => runProbe(home, issuer, operations, { env: { ...env, ...more }, person });

test('a login in a browser, a refresh in another process, and a refused one', async () => {
  const home = makeHome();
  const { lines, titles } = await ask(home, ['login', 'relogin', 'login', 'group'], goBack('dwho', ['wrong', 'dwho']));
  assert.deepEqual(lines.map(({ error }) => error), Array(4).fill());
  assert.deepEqual(titles, ['You are signed in', 'You are signed in']);
  assert.match(lines[3].result, /^(users|timelords|alpha)$/); // in no order
  ageToken(home);
  const [{ result }] = (await ask(home, ['key'])).lines;
  assert.equal(readTokens(home)[0].accessToken, result);
  const refused = await ask(makeHome(), ['login'], goBack('rtyler', ['rtyler'], '.negative'));
  assert.match(refused.lines[0].error, /cancelled|refused/);
});

test('a login by password, and a wrong one', async () => {
  for (const [password, expected] of [['dwho', /^$/], ['wrong', /the password was refused \(invalid_grant\)/]]) {
    const { lines: [{ error }] } = await ask(makeHome(), ['key'], undefined, { VARNEL_USERNAME: 'dwho', VARNEL_PASSWORD: password });
    assert.match(error ?? '', expected);
  }
});
