// Signing in with a browser, seen from outside the program.

import assert from 'node:assert/strict';
import { after, test } from 'node:test';
import { makeHome, readTokens, runProbe } from './harness.mjs';
import { startProvider } from './provider.mjs';

const provider = await startProvider();
after(() => provider.close());
const main = { VARNEL_AUTH_REALM: 'main' };

test('two logins on one handler', async () => {
  const home = makeHome();
  const run = await runProbe(home, provider.origin, ['login', 'relogin', 'key', 'group'], { env: main });
  console.log(run, provider.counts, readTokens(home));
});
