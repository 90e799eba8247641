// Runs signin_probe, or varnel, in a home directory of its own against a provider.

import { execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdtempSync, readdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { createServer as createHttpsServer } from 'node:https';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { after } from 'node:test';

const probe = process.env.SIGNIN_PROBE;
export const alice = { VARNEL_USERNAME: 'alice' }; // without a password, so that only a refresh is left
export const withPassword = { ...alice, VARNEL_PASSWORD: 'wonderland' };

export function makeHome() {
  const home = mkdtempSync(join(tmpdir(), 'varnel-home-'));
  after(() => rmSync(home, { recursive: true, force: true }));
  return home;
}

export function findFiles(home, suffix) {
  const directory = join(home, '.local/state/varnel/tokens');
  return readdirSync(directory).filter((name) => name.endsWith(suffix)).map((name) => join(directory, name));
}
export const readTokens = (home) => findFiles(home, '.json').map((file) => {
  const { accessToken, refreshToken } = JSON.parse(readFileSync(file, 'utf8'));
  return { accessToken, refreshToken };
});

// An unsigned token: the client does not look at signatures.
export const makeToken = (claims) => ['{"alg":"none"}', JSON.stringify(claims), 'x'].map((part) => Buffer.from(part).toString('base64url')).join('.');

// Makes the stored access token one that ends in so many seconds; it was good for 300.
export function ageToken(home, left = -10) {
  const [file] = findFiles(home, '.json');
  const exp = Math.floor(Date.now() / 1000) + left;
  const accessToken = makeToken({ iat: exp - 300, exp });
  writeFileSync(file, JSON.stringify({ ...JSON.parse(readFileSync(file)), accessToken }));
  return accessToken;
}

// Resolves to the port. A test need not close its servers.
export async function listen(server) {
  await new Promise((resolve) => { server.listen(0, '127.0.0.1', resolve).unref(); });
  return server.address().port;
}

export async function findFreePort() {
  const server = createServer();
  const port = await listen(server);
  await new Promise((resolve) => { server.close(resolve); });
  return port;
}

// Follows the provider's pages as a browser would, up to the address that sends it back to the program,
// and returns that one.
export async function signIn(address) {
  const cookies = new Map();
  const redirectUri = new URL(address).searchParams.get('redirect_uri');
  let url = address;
  while (!url.startsWith(redirectUri)) {
    const headers = { cookie: [...cookies].map((pair) => pair.join('=')).join('; ') };
    const answer = await fetch(url, { headers, redirect: 'manual' });
    if (answer.status >= 400) throw new Error(`${answer.status} at ${url}`);
    for (const cookie of answer.headers.getSetCookie()) cookies.set(...cookie.split(/[=;]/, 2));
    url = new URL(answer.headers.get('location'), url).href;
  }
  return url;
}

const goBack = async (address) => fetch(await signIn(address));

// Runs operations, with `person(address, probe)` at the browser. Resolves to the reported lines, with
// what went to standard output and error, and what the browser saw when it was started. `under`: a
// command that runs the program.
export function startProbe(home, issuer, operations, { person = goBack, env = {}, under = [] } = {}) {
  const run = { lines: [], output: '', browsers: [], visits: [] };
  let markPaused;
  run.paused = new Promise((resolve) => { markPaused = resolve; });
  run.done = (async () => {
    const desk = await listen(createServer(async (request, response) => {
      const seen = JSON.parse(Buffer.concat(await request.toArray()).toString());
      response.end();
      run.browsers.push(seen);
      const visit = fetch(seen.address, { redirect: 'manual' }).then((answer) => { // the program's own, which sends the browser on
        seen.address = answer.headers.get('location');
        return person(seen.address, run);
      });
      visit.catch(() => run.child.kill()); // seen below
      run.visits.push(visit);
    }));
    const [program, ...words] = [...under, probe, ...operations];
    run.child = spawn(program, words, {
      stdio: ['pipe', 'pipe', 'pipe', 'pipe'],
      env: { PATH: process.env.PATH, HOME: home, VARNEL_AUTH_HOST: issuer, BROWSER: `${probe} open %s`, TEST_BROWSER: desk, ...env },
    });
    for (const stream of [run.child.stdout, run.child.stderr]) stream.on('data', (data) => { run.output += data; });
    run.child.stdin.on('error', () => {}); // it may be gone
    createInterface({ input: run.child.stdio[3] }).on('line', (text) => {
      const line = JSON.parse(text);
      if (line.paused) markPaused(); else run.lines.push(line);
    });
    await once(run.child, 'close');
    run.titles = await Promise.all(run.visits);
    return run;
  })();
  run.resume = () => run.child.stdin.write('\n');
  return run;
}

export const runProbe = (home, issuer, operations, options) => startProbe(home, issuer, operations, options).done;

// What the last of alice's operations reports.
export const askKey = async (home, issuer, env = {}, operations = ['key']) => (
  (await runProbe(home, issuer, operations, { env: { ...alice, ...env } })).lines.at(-1));

// A home where alice has signed in with her password.
export async function makeSignedInHome(issuer, env = {}) {
  const home = makeHome();
  const { error } = await askKey(home, issuer, { ...withPassword, ...env });
  if (error) throw new Error(error);
  return home;
}

// Runs varnel, or another program that signs in; `see(text)` is called with standard error so far, whenever there is more of it.
export async function runVarnel(home, args, { env, see = () => {}, umask = '22', prefix = [], program = process.env.VARNEL }) {
  const child = spawn('sh', ['-c', `umask ${umask}; exec "$@"`, 'sh', ...prefix, program, ...args], {
    stdio: ['ignore', 'pipe', 'pipe'],
    env: { PATH: process.env.PATH, HOME: home, BROWSER: 'false', ...env },
  });
  const run = { out: '', err: '' };
  child.stdout.on('data', (data) => { run.out += data; });
  child.stderr.on('data', (data) => { run.err += data; see(run.err); });
  [run.status] = await once(child, 'close');
  return run;
}

// An issuer that passes token requests on to a provider's realm and leaves it to
// `answerToken({ status, text }, response)` what becomes of the realm's answer.
export async function startRelay(realm, answerToken, { tls, document } = {}) {
  const relay = { requests: 0, discoveries: 0 };
  const serve = async (request, response) => {
    const body = Buffer.concat(await request.toArray());
    if (request.method === 'GET') {
      const standard = { issuer: relay.issuer, authorization_endpoint: `${realm}/auth`, token_endpoint: `${relay.issuer}/token` };
      relay.discoveries += 1;
      if (relay.isDown) response.destroy(); else response.end(JSON.stringify({ ...standard, ...document }));
      return;
    }
    relay.requests += 1;
    relay.sent = { form: new URLSearchParams(`${body}`), credentials: request.headers.authorization };
    const answer = await fetch(`${realm}/token`, { method: 'POST', body: relay.sent.form });
    await answerToken({ status: answer.status, text: await answer.text() }, response);
  };
  const port = await listen(tls ? createHttpsServer(tls, serve) : createServer(serve));
  relay.issuer = `${tls ? 'https' : 'http'}://127.0.0.1:${port}`;
  return relay;
}

// Makes a certificate authority: its file, and what issues a certificate for a common name and
// alternative names, good for so many days from now.
export function makeAuthority() {
  const home = makeHome();
  const openssl = (...args) => execFileSync('openssl', args, { cwd: home, stdio: 'pipe' });
  const key = ['-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes'];
  openssl('req', '-x509', ...key, '-subj', '/CN=Test authority', '-keyout', 'ca.key', '-out', 'ca.pem');
  const issue = (commonName, names, days = 1) => {
    openssl('req', ...key, '-subj', `/CN=${commonName}`, '-keyout', 'key', '-out', 'request');
    writeFileSync(join(home, 'extensions'), names && `subjectAltName=${names}`);
    openssl('x509', '-req', '-in', 'request', '-CA', 'ca.pem', '-CAkey', 'ca.key', '-days', `${days}`, '-extfile', 'extensions', '-out', 'cert');
    return { cert: readFileSync(join(home, 'cert')), key: readFileSync(join(home, 'key')) };
  };
  return { file: join(home, 'ca.pem'), issue };
}
