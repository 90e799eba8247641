// People who sign in at the test provider: with a real Chromium, or without any browser.

import { spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';

const alice = { name: 'alice', password: 'wonderland', action: 'sign-in' };

// Signs alice in without a browser: follows the pages up to the address that sends the browser back
// to the program, and returns that one.
export async function signIn(address) {
  const cookies = new Map();
  const redirectUri = new URL(address).searchParams.get('redirect_uri');
  let url = address;
  let form;
  while (!url.startsWith(redirectUri)) {
    const headers = { cookie: [...cookies].map((pair) => pair.join('=')).join('; ') };
    const answer = await fetch(url, { method: form ? 'POST' : 'GET', headers, body: form, redirect: 'manual' });
    if (answer.status >= 400) throw new Error(`${answer.status} at ${url}`);
    for (const cookie of answer.headers.getSetCookie()) cookies.set(...cookie.split(/[=;]/, 2));
    const next = answer.headers.get('location');
    form = next ? undefined : new URLSearchParams({ login: alice.name, ...alice });
    url = next ? new URL(next, url).href : url;
  }
  return url;
}

// Signs in with a headless Chromium, one try for each person given, and returns the title of the
// page at the end. Certificates are not checked, since the authority is the test's own.
export async function useChromium(address, people = [alice]) {
  const driver = spawn('chromedriver', ['--port=0'], { stdio: ['ignore', 'pipe', 'ignore'] });
  const port = await new Promise((resolve, reject) => {
    driver.on('exit', () => reject(new Error('chromedriver ended')));
    createInterface({ input: driver.stdout }).on('line', (line) => {
      const match = /started successfully on port (\d+)/.exec(line);
      if (match) resolve(match[1]);
    });
  });
  const profile = mkdtempSync(join(tmpdir(), 'chromium-'));
  const send = async (method, path, body) => {
    const answer = await fetch(`http://127.0.0.1:${port}${path}`, { method, body: body && JSON.stringify(body) });
    const { value } = await answer.json();
    if (!answer.ok) throw new Error(`${path}: ${JSON.stringify(value).slice(0, 300)}`);
    return value;
  };
  let session;
  try {
    const args = ['--headless', '--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking', `--user-data-dir=${profile}`];
    const { sessionId } = await send('POST', '/session', {
      capabilities: { alwaysMatch: { acceptInsecureCerts: true, timeouts: { implicit: 20000 }, 'goog:chromeOptions': { args } } },
    });
    session = `/session/${sessionId}`;
    const find = async (css) => Object.values(await send('POST', `${session}/element`, { using: 'css selector', value: css }))[0];
    const type = async (css, text) => send('POST', `${session}/element/${await find(css)}/value`, { text });
    await send('POST', `${session}/url`, { url: address });
    for (const [index, { name, password, action }] of people.map((one) => ({ ...alice, ...one })).entries()) {
      if (index > 0) await find('#wrong');
      await type('input[name=login]', name);
      await type('input[name=password]', password);
      await send('POST', `${session}/element/${await find(`#${action}`)}/click`, {});
    }
    await find('h1'); // only the program's own page has one
    return await send('GET', `${session}/title`);
  } finally {
    if (session) await send('DELETE', session).catch(() => {});
    driver.kill();
    rmSync(profile, { recursive: true, force: true, maxRetries: 5 });
  }
}
