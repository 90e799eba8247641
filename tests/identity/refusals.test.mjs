// Providers and tokens that must not be trusted, and the service reached with those that may.

import assert from 'node:assert/strict';
import { createServer } from 'node:http';
import { createServer as createHttpsServer } from 'node:https';
import { test } from 'node:test';
import { ageToken, askKey, listen, makeAuthority, makeHome, makeToken, runProbe, startProbe, startRelay, withPassword } from './harness.mjs';
import { startProvider } from './provider.mjs';

const run = (issuer, operations, env) => askKey(makeHome(), issuer, { ...withPassword, ...env }, operations);

test('certificates that are not the server\'s are refused with the reason', async () => {
  const authority = makeAuthority();
  const stranger = makeAuthority();
  for (const [host, certificate, reason] of [
    ['127.0.0.1', stranger.issue('127.0.0.1', 'IP:127.0.0.1'), /unable to get local issuer certificate/],
    ['localhost', authority.issue('localhost', 'DNS:other.example'), /hostname mismatch/],
    ['localhost', authority.issue('localhost', ''), /hostname mismatch/],
    ['localhost', authority.issue('localhost', 'DNS:local*'), /hostname mismatch/],
    ['127.0.0.1', authority.issue('127.0.0.1', 'DNS:127.0.0.1'), /IP address mismatch/],
    ['127.0.0.1', authority.issue('127.0.0.1', 'IP:127.0.0.2'), /IP address mismatch/],
    ['localhost', authority.issue('localhost', 'DNS:localhost', -1), /certificate has expired/],
    ['LocalHost', authority.issue('localhost', 'DNS:LOCALhost'), /status 404/],
    ['127.0.0.1', authority.issue('x', 'IP:127.0.0.1'), /status 404/],
  ]) {
    let requests = 0;
    const server = createHttpsServer(certificate, (request, response) => { requests += 1; response.writeHead(404).end(); });
    const port = await listen(server);
    for (const variable of ['VARNEL_CA_FILE', 'SSL_CERT_FILE']) {
      const { error } = await run(`https://${host}:${port}`, ['login'], { [variable]: authority.file });
      assert.match(error, reason);
    }
    assert.equal(requests, reason.source.includes('404') ? 2 : 0);
  }
  const old = createHttpsServer({ maxVersion: 'TLSv1.1', minVersion: 'TLSv1', ciphers: 'DEFAULT@SECLEVEL=0' });
  assert.match((await run(`https://127.0.0.1:${await listen(old)}`, ['login'])).error, /no TLS connection: .*protocol/);
  assert.match((await run('https://127.0.0.1:1', ['login'], { VARNEL_CA_FILE: '/no/such.pem' })).error, /caFile: \/no\/such.pem/);
});

test('addresses that passwords must not go to are refused before anything is sent', async () => {
  for (const address of [
    'http://192.0.2.1', 'http://127.0.0.1.evil.example', 'http://localhost@192.0.2.1', 'http://[::2]', 'http://128.0.0.1',
    'https://u:p@127.0.0.1', 'ftp://127.0.0.1', '127.0.0.1', 'https://', 'https://127.0.0.1:0', 'https://127.0.0.1:65536',
    'https://127.0.0.1:1x', 'https://[::1', 'https://127.0.0.1/?a', 'https://127.0.0.1/#a', 'https://127.0.0.1\\@x', 'https://a b',
  ]) assert.match((await run(address, ['login'])).error, /^authHost: /, address);
  for (const address of ['http://127.1.2.3:1', 'http://[::1]:1', 'http://LOCALHOST:1', 'HTTPS://127.0.0.1:1/a/']) {
    assert.match((await run(address, ['login'])).error, /^identity provider .*:1: no connection/, address);
  }
  assert.match((await run('', ['login'], { VARNEL_ENVIRONMENT: 'staging' })).error, /VARNEL_AUTH_HOST/);
});

test('a discovery document that is not the issuer\'s is refused with the reason', async () => {
  const page = (status, headers, body) => (request, response) => response.writeHead(status, headers).end(body);
  for (const [serve, reason] of [
    [page(200, {}, '<!DOCTYPE html>'), /not a JSON object/],
    [page(200, {}, `{"issuer":"${'x'.repeat(2 << 20)}"}`), /larger than 1 MiB/],
    [page(302, { Location: '/elsewhere' }, ''), /status 302, a redirect, which is not followed/],
    [page(500, {}, ''), /status 500/],
  ]) assert.match((await run(`http://127.0.0.1:${await listen(createServer(serve))}`, ['login'])).error, reason);
  for (const [document, reason] of [
    [{ issuer: 'https://elsewhere.example' }, /another issuer/],
    [{ issuer: undefined }, /another issuer/],
    [{ token_endpoint: undefined }, /has no "token_endpoint"/],
    [{ authorization_endpoint: 5 }, /has no "authorization_endpoint"/],
    [{ token_endpoint: 'http://192.0.2.1/token' }, /"token_endpoint": must begin with https:/],
  ]) {
    const relay = await startRelay('https://x.example', () => {}, { document });
    assert.match((await run(relay.issuer, ['login'])).error, reason);
    assert.equal(relay.requests, 0);
  }
});

test('the first group is read from the claim, or refused as part of a host name', async () => {
  const group = async (token, env) => run('', ['group'], { VARNEL_TOKEN: token, ...env });
  for (const label of ['alpha', 'a'.repeat(63), 'A-1']) assert.equal((await group(makeToken({ groups: [label] }))).result, label);
  for (const label of ['a'.repeat(64), 'evil.example', 'zoë', '-a', 'a-', 'a_b', 'a b']) {
    assert.match((await group(makeToken({ groups: [label] }))).error, /host name/, label);
  }
  const roles = 'https://example.com/roles';
  assert.equal((await group(makeToken({ groups: ['wrong'], [roles]: ['right'] }), { VARNEL_GROUPS_CLAIM: roles })).result, 'right');
  const opaque = await startProvider({ format: 'opaque' });
  assert.equal((await run(opaque.issuer, ['login', 'group'])).result, '');
});

for (const environment of ['staging', 'production']) {
  test(`from a login to the service in ${environment}`, async () => {
    const users = { alice: { password: 'wonderland', claims: { groups: ['alpha'] } } };
    const provider = await startProvider({ users });
    const seen = [];
    const port = await listen(createServer(({ headers }, response) => { seen.push(headers.authorization); response.end('"1.2.3"'); }));
    const home = makeHome();
    const env = { VARNEL_ENVIRONMENT: environment, VARNEL_API_HOST: '0.0.1', VARNEL_API_PORT: port };
    const first = startProbe(home, provider.issuer, ['api-login', 'api-host', 'pause', 'api-login', 'api-host', 'api-version'], { env });
    await first.paused;
    users.alice.claims = { groups: ['/127/team'] };
    first.resume();
    const [, alpha, , login, host, version] = (await first.done).lines;
    assert.deepEqual([alpha.result, host.result, version.result], ['alpha.0.0.1', '127.0.0.1', '1.2.3']);
    ageToken(home);
    const later = (await runProbe(home, provider.issuer, ['api-version', 'key'], { env })).lines;
    assert.equal(later[0].result, '1.2.3');
    assert.deepEqual(seen, [`Bearer ${login.result}`, `Bearer ${later[1].result}`]);
    assert.deepEqual(provider.counts, { 'authorization_code ok': 1, 'refresh_token ok': 2 });
  });
}
