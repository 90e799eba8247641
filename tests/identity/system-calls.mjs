// Has each system call of a refresh, a login by password and one in a browser fail, and kill the
// process, once in turn, and prints what became of the sessions: with a provider whose refresh tokens
// are good once, and with one that keeps them. A session is lost when the provider still honours it
// and the next program cannot use it, or when its tokens were received and not stored. Not a test of
// every day: it takes minutes.

import { readdirSync, readFileSync, statSync } from 'node:fs';
import { join } from 'node:path';
import { ageToken, alice, askKey, makeSignedInHome, readTokens, runProbe, signIn, withPassword } from './harness.mjs';
import { startProvider } from './provider.mjs';

const errors = {
  openat: 'EMFILE', write: 'ENOSPC', fsync: 'EIO', rename: 'EIO', renameat: 'EIO', renameat2: 'EIO',
  flock: 'ENOLCK', connect: 'ECONNREFUSED', sendto: 'EPIPE', recvfrom: 'ECONNRESET',
};
const calls = Object.keys(errors);
const person = async (address, run) => fetch(await signIn(address)).catch(() => run.child.kill());

const operations = [
  { name: 'refresh', env: alice, steps: ['key'] },
  { name: 'login by password', env: withPassword, steps: ['relogin'] },
  { name: 'login in a browser', env: { ...alice, VARNEL_LOGIN_TIMEOUT: '10' }, steps: ['relogin'] },
];

// A home with a session that is to be renewed.
async function prepareHome(issuer) {
  const home = await makeSignedInHome(issuer);
  ageToken(home);
  return home;
}

const trace = (home, issuer, { env, steps }, options) => {
  const under = ['strace', '-qq', '-o', join(home, 'trace'), '-e', `trace=${calls}`, ...options];
  return runProbe(home, issuer, steps, { env, person, under }).catch(() => {}); // a browser that cannot go on
};

// What the operation asks of the kernel: for each call, which ones of its kind are not the loader's.
async function listCalls(issuer, operation) {
  const home = await prepareHome(issuer);
  await trace(home, issuer, operation, []);
  const seen = Object.fromEntries(calls.map((call) => [call, []]));
  for (const [, call, rest] of readFileSync(join(home, 'trace'), 'utf8').matchAll(/^(\w+)\((.*)$/gm)) {
    seen[call].push(!/^AT_FDCWD, "\/(etc|lib|usr|proc)\//.test(rest));
  }
  return calls.flatMap((call) => seen[call].flatMap((isOurs, index) => (isOurs ? [[call, index + 1]] : [])));
}

const isPrivate = (home) => {
  const directory = join(home, '.local/state/varnel/tokens');
  return [directory, ...readdirSync(directory).map((name) => join(directory, name))].every((path) => (statSync(path).mode & 0o77) === 0);
};
const isWhole = (home) => {
  try {
    return readTokens(home).every(({ accessToken, refreshToken }) => accessToken && typeof refreshToken === 'string');
  } catch { return false; }
};
async function isHonoured(issuer, refreshToken) {
  const body = new URLSearchParams({ client_id: 'varnel', grant_type: 'refresh_token', refresh_token: refreshToken });
  return (await fetch(`${issuer}/token`, { method: 'POST', body })).ok;
}

async function interrupt(issuer, operation, injection, counts, log) {
  const home = await prepareHome(issuer);
  const [{ accessToken, refreshToken }] = readTokens(home);
  const run = await trace(home, issuer, operation, ['-e', `inject=${injection}`]);
  counts.interrupted += 1;
  const problems = [];
  if (!isWhole(home)) problems.push('broken file');
  if (!isPrivate(home)) problems.push('open to others');
  const stored = isWhole(home) ? readTokens(home)[0] : undefined;
  const received = run?.lines.at(-1)?.result; // the token that the operation has returned
  const { error } = await askKey(home, issuer);
  if (error) counts[injection.includes('KILL') ? 'ended by a kill' : 'ended by an error'] += 1;
  const isUnstored = received && received !== accessToken && received !== stored?.accessToken;
  const isForgotten = async () => await isHonoured(issuer, refreshToken) || (stored && await isHonoured(issuer, stored.refreshToken));
  if (isUnstored || (error && await isForgotten())) problems.push('lost session');
  for (const problem of problems) counts[problem] += 1;
  if (error || problems.length) log(`${operation.name}: ${injection}: ${problems.join(', ') || 'session ended'}: ${error}`);
}

let hasFailed = false;
for (const rotate of [true, false]) {
  const { issuer } = await startProvider({ rotate, lifetime: 3600 });
  for (const operation of operations) {
    const counts = { interrupted: 0, 'ended by an error': 0, 'ended by a kill': 0, 'broken file': 0, 'open to others': 0, 'lost session': 0 };
    for (const [call, number] of await listCalls(issuer, operation)) {
      for (const how of [`error=${errors[call]}`, 'signal=KILL']) {
        await interrupt(issuer, operation, `${call}:${how}:when=${number}`, counts, (line) => console.error(line));
      }
    }
    console.log(`${operation.name}, refresh tokens good ${rotate ? 'once' : 'for ever'}: ${
      Object.entries(counts).map(([name, count]) => `${count} ${name}`).join(', ')}`);
    hasFailed ||= counts.interrupted === 0 || counts['broken file'] + counts['open to others'] + counts['lost session'] > 0
      || (!rotate && counts['ended by an error'] + counts['ended by a kill'] > 0);
  }
}
process.exit(hasFailed ? 1 : 0);
