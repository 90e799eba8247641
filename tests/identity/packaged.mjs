// Providers from Debian's packages, as with-packages.sh has unpacked them: on 127.0.0.1, everything in a
// directory of its own, over HTTPS with a private authority.

import { spawn } from 'node:child_process';
import { readdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { after } from 'node:test';
import { findFreePort, makeAuthority, makeHome } from './harness.mjs';

export const root = process.env.PACKAGES_ROOT;
export const clientSecret = 'secret-of-the-client';

// A folder within each folder of libraries, as a search path.
export const listLibraries = (folder) => readdirSync(join(root, 'usr/lib')).map((name) => join(root, 'usr/lib', name, folder)).join(':');

// A directory with the files "cert" and "key" for a server at https://localhost.
export async function makePlace() {
  const home = makeHome();
  const authority = makeAuthority();
  for (const [name, text] of Object.entries(authority.issue('localhost', 'DNS:localhost'))) writeFileSync(join(home, name), text);
  const port = await findFreePort();
  return { home, port, origin: `https://localhost:${port}`, authority: authority.file };
}

// Starts a server; resolves when a line of its log says that it is up.
export async function startServer(program, args, environment, sign) {
  const child = spawn(join(root, 'usr/bin', program), args, { env: { ...process.env, ...environment }, stdio: ['ignore', 'pipe', 'pipe'] });
  after(() => child.kill());
  const log = [];
  await new Promise((resolve, reject) => {
    child.on('exit', () => reject(new Error(`${program} has ended: ${log.join('\n')}`)));
    for (const input of [child.stdout, child.stderr]) {
      createInterface({ input }).on('line', (line) => { log.push(line); if (line.includes(sign)) resolve(); });
    }
  });
}
