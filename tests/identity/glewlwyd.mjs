// glewlwyd, an OpenID Connect provider whose redirect URIs name a port.

import { execFileSync } from 'node:child_process';
import { copyFileSync, cpSync, readFileSync, writeFileSync } from 'node:fs';
import { request } from 'node:https';
import { join } from 'node:path';
import { gunzipSync } from 'node:zlib';
import { clientSecret, listLibraries, makePlace, root, startServer } from './packaged.mjs';

const environment = { PATH: `${root}/usr/bin:${process.env.PATH}`, LD_LIBRARY_PATH: listLibraries('') };

const quote = (values) => Object.entries(values).map(([name, value]) => `${name} = ${JSON.stringify(value)}\n`).join('');

// The files of a provider that nobody has used yet: it knows "admin" with the password "password".
function writeFiles({ home, port, origin }) {
  const pages = join(home, 'pages');
  const settings = join(root, 'usr/share/glewlwyd/webapp/config.json'); // a link to where it would be installed
  cpSync(join(root, 'usr/share/glewlwyd/webapp'), pages, { recursive: true, dereference: true, filter: (file) => file !== settings });
  copyFileSync(join(root, 'etc/glewlwyd/config-2.7.json/config.json'), join(pages, 'config.json'));
  const tables = readFileSync(join(root, 'usr/share/doc/glewlwyd/database/init.sqlite3.sql.gz'));
  execFileSync('sqlite3', ['database'], { cwd: home, env: { ...process.env, ...environment }, input: gunzipSync(tables) });
  writeFileSync(join(home, 'settings'), quote({
    port, bind_address: '127.0.0.1', external_url: origin, cookie_domain: 'localhost', cookie_secure: 1,
    login_url: 'login.html', api_prefix: 'api', static_files_path: `${pages}/`,
    log_mode: 'console', log_level: 'INFO',
    admin_scope: 'g_admin', profile_scope: 'g_profile',
    user_module_path: `${root}/usr/lib/glewlwyd/user`, user_middleware_module_path: `${root}/var`, // there are none
    client_module_path: `${root}/usr/lib/glewlwyd/client`, plugin_module_path: `${root}/usr/lib/glewlwyd/plugin`,
    user_auth_scheme_module_path: `${root}/usr/lib/glewlwyd/scheme`,
    use_secure_connection: true, secure_connection_key_file: join(home, 'key'), secure_connection_pem_file: join(home, 'cert'),
  }) + `database = { ${quote({ type: 'sqlite3', path: join(home, 'database') })} };
    static_files_mime_types = (${['html', 'javascript:js', 'css', 'json'].map((one) => one.split(':')).map(([type, suffix]) => (
    `{ ${quote({ extension: `.${suffix ?? type}`, mime_type: `text/${type}` })} }`))});`);
}

// Sends one request as a program that trusts the authority; resolves to status, cookies and text.
function send(method, address, { authority, cookie = '', body }) {
  return new Promise((resolve, reject) => {
    const headers = { cookie, 'content-type': 'application/json' };
    request(address, { method, headers, ca: readFileSync(authority) }, async (response) => {
      const text = Buffer.concat(await response.toArray()).toString();
      resolve({ status: response.statusCode, cookies: response.headers['set-cookie'] ?? [], text });
    }).on('error', reject).end(body && JSON.stringify(body));
  });
}

// What an administrator does at a new provider: the claim with the groups, a user, two clients, and
// the plugin that speaks OpenID Connect.
function* listChanges(origin, redirectUri) {
  yield ['PUT', 'mod/user/database', (module) => ({
    ...module,
    parameters: { ...module.parameters, 'data-format': { groups: { multiple: true, read: true, write: true } } },
  })];
  yield ['PUT', 'mod/user/database/reset/'];
  yield ['POST', 'scope/', () => ({ name: 'api', display_name: 'Simulations', password_required: false })];
  yield ['POST', 'user/', () => ({ username: 'alice', password: 'wonderland', name: 'Alice', scope: ['openid', 'api'], groups: ['alpha'], enabled: true })];
  const client = { enabled: true, redirect_uri: [redirectUri], authorization_type: ['code', 'refresh_token', 'password', 'device_authorization'] };
  yield ['POST', 'client/', () => ({ ...client, client_id: 'public', name: 'Public', confidential: false })];
  const confidential = { confidential: true, client_secret: clientSecret, token_endpoint_auth_method: ['client_secret_basic'] };
  yield ['POST', 'client/', () => ({ ...client, ...confidential, client_id: 'varnel', name: 'VarnelBase' })];
  yield ['POST', 'mod/plugin/', () => ({
    module: 'oidc', name: 'main', display_name: 'Main', enabled: true,
    parameters: {
      iss: `${origin}/api/main`, key: 'key-of-the-test', 'jwt-type': 'sha', 'jwt-key-size': '256', 'oauth-as-iss-id': true,
      'auth-type-code-enabled': true, 'auth-type-password-enabled': true, 'auth-type-refresh-enabled': true, 'auth-type-device-enabled': true,
      'access-token-duration': 300, 'code-duration': 60, 'device-authorization-expiration': 60, 'device-authorization-interval': 1,
      'refresh-token-duration': 86400, 'refresh-token-rolling': true, 'refresh-token-one-use': 'always',
      'allow-non-oidc': true, 'pkce-allowed': true, 'pkce-required': true,
      'introspection-revocation-allowed': true, 'introspection-revocation-allow-target-client': true,
      'additional-parameters': [{ 'user-parameter': 'groups', 'token-parameter': 'groups' }],
    },
  })];
}

// Starts a provider with one user, alice, for programs that listen on one port; resolves to its issuer and
// its authority's file.
export async function startGlewlwyd(callbackPort) {
  const place = await makePlace();
  const { origin, authority } = place;
  writeFiles(place);
  await startServer('glewlwyd', ['-c', join(place.home, 'settings')], environment, 'started on port');
  const signedIn = await send('POST', `${origin}/api/auth/`, { authority, body: { username: 'admin', password: 'password' } });
  const cookie = signedIn.cookies.map((one) => one.split(';')[0]).join('; ');
  for (const [method, path, makeBody] of listChanges(origin, `http://127.0.0.1:${callbackPort}/callback`)) {
    const before = method === 'PUT' && makeBody ? JSON.parse((await send('GET', `${origin}/api/${path}`, { authority, cookie })).text) : {};
    const { status, text } = await send(method, `${origin}/api/${path}`, { authority, cookie, body: makeBody?.(before) });
    if (status !== 200) throw new Error(`${method} ${path}: ${status} ${text}`);
  }
  return { issuer: `${origin}/api/main`, authority };
}
