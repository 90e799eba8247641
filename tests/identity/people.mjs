// People who sign in at the test provider: with a real Chromium, or without any browser.

import { spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const alice = { name: 'alice', password: 'wonderland', action: 'sign-in' };

// Follows the pages from an address to the one that sends the browser back to the program, and
// returns that address without going there.
export async function signIn(address, person = {}) {
  const { name, password, action } = { ...alice, ...person };
  const cookies = new Map();
  const redirectUri = new URL(address).searchParams.get('redirect_uri');
  let url = new URL(address);
  let body;
  for (let step = 0; step < 10; step += 1) {
    const answer = await fetch(url, {
      method: body ? 'POST' : 'GET',
      redirect: 'manual',
      headers: { cookie: [...cookies].map((pair) => pair.join('=')).join('; ') },
      body,
    });
    for (const header of answer.headers.getSetCookie()) {
      const [, key, value] = /^([^=]+)=([^;]*)/.exec(header);
      cookies.set(key, value);
    }
    body = undefined;
    if (answer.status < 400 && answer.headers.has('location')) {
      url = new URL(answer.headers.get('location'), url);
      if (url.href.startsWith(redirectUri)) return url.href;
    } else {
      const page = await answer.text();
      if (!page.includes('name="login"')) throw new Error(`${answer.status} ${page}`);
      body = new URLSearchParams({ login: name, password, action });
    }
  }
  throw new Error('no way back to the program');
}

async function startChromedriver() {
  const driver = spawn('chromedriver', ['--port=0'], { stdio: ['ignore', 'pipe', 'ignore'] });
  const port = await new Promise((resolve, reject) => {
    let said = '';
    driver.stdout.on('data', (data) => {
      said += data;
      const match = /started successfully on port (\d+)/.exec(said);
      if (match) resolve(match[1]);
    });
    driver.on('error', reject);
    driver.on('exit', () => reject(new Error(`chromedriver ended: ${said}`)));
  });
  return { port, stop: () => driver.kill() };
}

// Signs in with a headless Chromium, one try for each person given, and returns the title of the
// page at the end. Certificates are not checked, since the authority is the test's own.
export async function useChromium(address, people = [alice]) {
  const driver = await startChromedriver();
  const profile = mkdtempSync(join(tmpdir(), 'chromium-'));
  const send = async (method, path, body) => {
    const answer = await fetch(`http://127.0.0.1:${driver.port}${path}`, { method, body: body && JSON.stringify(body) });
    const { value } = await answer.json();
    if (!answer.ok) throw new Error(`${path}: ${JSON.stringify(value).slice(0, 300)}`);
    return value;
  };
  let session;
  try {
    const args = ['--headless', '--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking', `--user-data-dir=${profile}`];
    const { sessionId } = await send('POST', '/session', {
      capabilities: {
        alwaysMatch: {
          browserName: 'chrome', acceptInsecureCerts: true, timeouts: { implicit: 20000 }, 'goog:chromeOptions': { args },
        },
      },
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
    driver.stop();
    rmSync(profile, { recursive: true, force: true, maxRetries: 5 });
  }
}
