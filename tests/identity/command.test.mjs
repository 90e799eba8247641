// Signing in and out from the command line, by a person at a terminal or far from a browser.

import assert from 'node:assert/strict';
import { chownSync, mkdirSync, symlinkSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { join } from 'node:path';
import { test } from 'node:test';
import { alice, listen, makeHome, makeToken, readTokens, runVarnel, signIn, withPassword } from './harness.mjs';
import { startProvider } from './provider.mjs';

const { issuer } = await startProvider();

const varnel = (home, args, { env, ...options } = {}) => runVarnel(home, args, { env: { VARNEL_AUTH_HOST: issuer, ...env }, ...options });

// A provider whose token endpoint gives those answers in turn, and which notes what it was asked. It
// redirects with the error, if one is given.
async function startScripted(answers, device = {}, error = '') {
  const asked = [];
  const port = await listen(createServer(async (request, response) => {
    const form = Object.fromEntries(new URLSearchParams(Buffer.concat(await request.toArray()).toString()));
    const self = `http://127.0.0.1:${port}`;
    const send = (document, status = 200) => response.writeHead(status).end(JSON.stringify(document));
    if (error && request.url.startsWith('/auth?')) {
      const { searchParams } = new URL(request.url, self);
      response.writeHead(302, { location: `${searchParams.get('redirect_uri')}?error=${error}` }).end();
      return;
    }
    if (request.method === 'GET') {
      send({
        issuer: self, authorization_endpoint: `${self}/auth`, token_endpoint: `${self}/token`,
        ...(device && { device_authorization_endpoint: `${self}/device` }), revocation_endpoint: `${self}/revoke`,
      });
      return;
    }
    asked.push({ path: request.url, ...form });
    if (request.url === '/device') {
      send({ device_code: 'SECRET', user_code: 'WDJB-\u001bMJHT', verification_uri: `${self}/go`, expires_in: 600, interval: 1, ...device }, device.status);
    } else if (request.url === '/revoke') response.writeHead(answers[0]).end(); else send(...answers.shift());
  }));
  return { issuer: `http://127.0.0.1:${port}`, asked };
}

const tokens = { access_token: makeToken({ exp: 4e9, preferred_username: 'spiffe://corp/C=DE' }), token_type: 'Bearer', refresh_token: 'R' };

test('the address is printed, and waited for whatever the browser\'s command does', async () => {
  let visit;
  const run = await varnel(makeHome(), ['login'], {
    see: (text) => {
      const address = /(http\S+\/auth\?\S+)/.exec(text)?.[1];
      if (address && text.includes('waiting')) visit ??= signIn(address).then((back) => fetch(back));
    },
  });
  await visit;
  assert.equal(run.status, 0, run.err);
  assert.equal(JSON.parse(run.out).signedIn, true);
});

test('a person signs in on another device', async () => {
  const pending = [{ error: 'authorization_pending' }, 400];
  for (const [args, answers, status, text] of [
    [['login', '--device'], [pending, [tokens]], 0, /type this code: WDJB- MJHT/],
    [['login'], [[tokens]], 0, /type this code/], // for there is no browser
    [['login', '--device', '--quiet'], [[{ error: 'slow_down' }, 400], [tokens]], 0, /type this code/],
    [['login', '--device'], [[{ error: 'access_denied', error_description: 'by bob' }, 400]], 4, /cancelled \(access_denied: by bob\)/],
    [['login', '--device'], [pending, [{ error: 'expired_token' }, 400]], 4, /nobody used the code within 600 s/],
  ]) {
    const provider = await startScripted([...answers]);
    const home = makeHome();
    const run = await varnel(home, args, { env: { VARNEL_AUTH_HOST: provider.issuer, VARNEL_SCOPE: 'openid x' } });
    assert.equal(run.status, status, run.err);
    assert.match(run.err, text);
    assert.doesNotMatch(run.err + run.out, /SECRET/);
    assert.equal(provider.asked[0].scope, 'openid x');
    assert.equal(provider.asked.length, 1 + answers.length);
    assert.equal(provider.asked[1].device_code, 'SECRET');
    if (status === 0) assert.equal(JSON.parse(run.out).user, 'spiffe://corp/C=DE');
  }
  for (const [device, text] of [
    [null, /does not offer sign-in on another device/],
    [{ status: 400 }, /\(status 400\)/],
    [{ status: 500 }, /answered with status 500 and without a code/],
  ]) {
    const without = await startScripted([], device);
    assert.match((await varnel(makeHome(), ['login', '--device'], { env: { VARNEL_AUTH_HOST: without.issuer } })).err, text);
  }
});

test('a program of another\'s shows the code, and tells when the tokens could not be stored', async () => {
  for (const [env, isStored] of [[{}, true], [{ HOME: '' }, false]]) {
    const provider = await startScripted([[tokens]]);
    const { status, out } = await varnel(makeHome(), [], { env: { VARNEL_AUTH_HOST: provider.issuer, ...env }, program: process.env.SIGN_IN_EXAMPLE });
    assert.equal(status, 0);
    assert.match(out, /^Open http\S+\/go on any device and type WDJB- MJHT\n(You will .*HOME.*\n)?You are signed in\.\n$/);
    assert.equal(out.includes('again next time'), !isStored);
  }
});

test('the token is printed, and the session ended at the provider', async () => {
  for (const [status, text] of [[200, /has ended, here and at the provider/], [500, /continues at the provider: .*status 500/]]) {
    const provider = await startScripted([[tokens], status]);
    const home = makeHome();
    const env = { VARNEL_AUTH_HOST: provider.issuer };
    await varnel(home, ['login'], { env });
    assert.equal((await varnel(home, ['token'], { env })).out, `${tokens.access_token}\n`);
    assert.match((await varnel(home, ['logout'], { env })).err, text);
    assert.deepEqual(provider.asked.at(-1), { path: '/revoke', token: 'R', token_type_hint: 'refresh_token', client_id: 'varnel' });
    assert.deepEqual(readTokens(home), []);
    assert.match((await varnel(home, ['logout'], { env })).err, /no token was stored/);
    assert.equal((await varnel(home, ['token'], { env })).status, 4);
  }
  const home = makeHome();
  await varnel(home, ['login'], { env: withPassword });
  const { err } = await varnel(home, ['logout'], { env: alice });
  assert.match(err, /offers no way to end the session there\n$/);
});

test('tokens that cannot be stored are told of', async () => {
  const huge = await startScripted([[{ ...tokens, access_token: 'x'.repeat(1 << 16) }]]);
  const place = (home) => join(home, '.local/state/varnel');
  const isRoot = process.getuid() === 0;
  const asFileModesAllow = isRoot ? ['setpriv', '--bounding-set=-dac_override,-dac_read_search'] : [];
  for (const [prepare, reason, prefix = []] of [
    [() => ({ HOME: '' }), /set HOME or XDG_STATE_HOME to an absolute path/],
    [() => ({ HOME: '', XDG_STATE_HOME: 'relative' }), /set HOME or XDG_STATE_HOME to an absolute path/],
    [(home) => { writeFileSync(join(home, 'file'), ''); return { HOME: join(home, 'file') }; }, /Not a directory/],
    [(home) => { mkdirSync(place(home), { recursive: true }); symlinkSync(home, join(place(home), 'tokens')); }, /must not be a symbolic link/],
    [() => ({ XDG_STATE_HOME: '/proc' }), /\/proc\/varnel: /],
    [(home) => { mkdirSync(join(home, '.local/state'), { recursive: true, mode: 0o555 }); }, /Permission denied/, asFileModesAllow],
    [() => ({ VARNEL_AUTH_HOST: huge.issuer }), /larger than 64 KiB/],
    ...(isRoot ? [[(home) => { chownSync(home, 65534, 65534); }, /belongs to another user: run this as that user/]] : []),
  ]) {
    const home = makeHome();
    const run = await varnel(home, ['login'], { env: { ...withPassword, ...prepare(home) }, prefix });
    assert.equal(run.status, 1, run.err);
    assert.match(run.err, /signed in, but only for this command/);
    assert.match(run.err, reason);
  }
  const home = makeHome(); // whatever the umask takes away
  assert.equal((await varnel(home, ['login'], { env: withPassword, umask: '777' })).status, 0);
  assert.equal((await varnel(home, ['token'], { env: alice })).status, 0);
});

test('the doctor asks the provider what can be told without a person', async () => {
  const silent = await startScripted([[{ error: 'invalid_client' }, 401]]);
  const asking = await startScripted([[{ error: 'invalid_grant' }, 400]], {}, 'interaction_required');
  const refusing = await startScripted([[{ error: 'invalid_grant' }, 400]], {}, 'invalid_scope');
  for (const [env, expected] of [
    [{}, ['ok', 'ok', 'ok', 'ok', 'ok']],
    [{ VARNEL_CALLBACK_PORTS: '4000' }, ['ok', 'ok', 'ok', 'ok', 'ok']],
    [{ VARNEL_CLIENT_ID: 'nobody' }, ['ok', 'ok', 'ok', 'warn', 'warn']],
    [{ VARNEL_AUTH_HOST: silent.issuer }, ['ok', 'ok', 'ok', 'ok', 'warn']],
    [{ VARNEL_AUTH_HOST: asking.issuer }, ['ok', 'ok', 'ok', 'ok', 'ok']],
    [{ VARNEL_AUTH_HOST: refusing.issuer }, ['ok', 'ok', 'ok', 'warn', 'ok']],
    [{ VARNEL_AUTH_HOST: `${silent.issuer}/else` }, ['warn']],
  ]) {
    const { out } = await varnel(makeHome(), ['doctor', '-o', 'json'], { env });
    const lines = JSON.parse(out).filter(({ check }) => /provider|^sign-in|^client('s| and)/.test(check));
    assert.deepEqual(lines.map(({ result }) => result), expected, JSON.stringify(lines));
  }
});

test('advice to sign in comes only where that helps', async () => {
  for (const [env, isAdvised] of [
    [{}, true],
    [{ VARNEL_AUTH_HOST: '', VARNEL_ENVIRONMENT: 'staging' }, false],
    [{ VARNEL_AUTH_HOST: 'https://127.0.0.1:1', VARNEL_CA_FILE: '/no/such.pem', VARNEL_USERNAME: 'a', VARNEL_PASSWORD: 'b' }, false],
  ]) {
    for (const command of ['whoami', 'doctor']) {
      const { out, err } = await varnel(makeHome(), [command], { env });
      assert.equal((out + err).includes('varnel login'), isAdvised, command);
    }
  }
  const busy = await varnel(makeHome(), ['login', '--as-other-user'], { env: alice });
  assert.equal(busy.status, 2);
});
