// An OpenID Connect provider for tests: the certified `oidc-provider` package with realms below
// /realms/<name>, everything in memory, on 127.0.0.1.

import { createServer as createHttpServer } from 'node:http';
import { createServer as createHttpsServer } from 'node:https';
import { generateKeyPairSync, randomBytes } from 'node:crypto';
import { Provider, errors } from 'oidc-provider';
import MemoryAdapter from 'oidc-provider/lib/adapters/memory_adapter.js';
import { listen } from './harness.mjs';

const audience = 'urn:test:api';
const { privateKey } = generateKeyPairSync('rsa', { modulusLength: 2048 });

const defaults = {
  realms: ['main'],
  secret: '', // the client's; empty: a public client
  users: {
    alice: { password: 'wonderland', claims: { groups: ['alpha'] } },
    bob: { password: 'builder', claims: { groups: ['beta'] } },
  },
  format: 'jwt', // or 'opaque'
  lifetime: 300,
  rotate: true, // a refresh token is good once; its second use ends the session
  delayMs: 0, // before each answer of the token endpoint
  tls: undefined, // { cert, key }: HTTPS
};

const loginPage = (wrong) => `<!DOCTYPE html><title>Sign in</title><link rel="icon" href="data:,">
${wrong ? '<p id="wrong">Unknown name or wrong password.</p>' : ''}
<form method="post"><input name="login" required><input name="password" type="password">
<button id="sign-in" name="action" value="sign-in">Sign in</button>
<button id="cancel" name="action" value="cancel" formnovalidate>Cancel</button></form>`;

function makeRealm(name, origin, settings, counts) {
  const realm = { sessions: 0 };
  class Store extends MemoryAdapter {
    key(id) { return `${origin} ${name} ${realm.sessions} ${super.key(id)}`; } // out of the others' sight
  }
  const knows = (user, password) => settings.users[user]?.password === password;
  const resourceServer = { scope: 'api', audience, accessTokenTTL: settings.lifetime, accessTokenFormat: settings.format };
  const makeGrant = async (accountId) => {
    const grant = new provider.Grant({ clientId: 'varnel', accountId });
    grant.addOIDCScope('openid');
    grant.addResourceScope(audience, 'api');
    await grant.save();
    return grant;
  };
  const provider = new Provider(`${origin}/realms/${name}`, {
    adapter: Store,
    jwks: { keys: [{ ...privateKey.export({ format: 'jwk' }), alg: 'RS256', use: 'sig', kid: name }] },
    cookies: { keys: [randomBytes(32).toString('hex')] },
    clients: [{
      client_id: 'varnel',
      ...(settings.secret ? { client_secret: settings.secret } : { token_endpoint_auth_method: 'none' }),
      application_type: 'native', // its loopback redirect is compared without the port
      redirect_uris: ['http://127.0.0.1/callback', 'http://[::1]/callback'],
      grant_types: ['authorization_code', 'refresh_token', 'password'],
      response_types: ['code'],
    }],
    scopes: ['openid', 'api'],
    pkce: { required: () => true, methods: ['S256'] },
    rotateRefreshToken: settings.rotate,
    issueRefreshToken: async () => true,
    expiresWithSession: async () => false,
    ttl: { AccessToken: settings.lifetime, AuthorizationCode: 60, RefreshToken: 86400, Grant: 86400, IdToken: 3600, Interaction: 600, Session: 86400 },
    findAccount: async (ctx, accountId) => ({ accountId, claims: async () => ({ sub: accountId }) }),
    extraTokenClaims: async (ctx, { accountId }) => settings.users[accountId].claims,
    loadExistingGrant: async (ctx) => makeGrant(ctx.oidc.session.accountId), // nobody is asked to consent
    interactions: { url: (ctx, interaction) => `${origin}/realms/${name}/interaction/${interaction.uid}` },
    features: {
      devInteractions: { enabled: false },
      resourceIndicators: { enabled: true, defaultResource: () => audience, useGrantedResource: () => true, getResourceServerInfo: () => resourceServer },
    },
  });
  provider.registerGrantType('password', async (ctx) => {
    const { username, password } = ctx.oidc.params;
    if (!knows(username, password)) throw new errors.InvalidGrant('unknown name or wrong password');
    const holder = { accountId: username, client: ctx.oidc.client, grantId: (await makeGrant(username)).jti, gty: 'password' };
    const access = new provider.AccessToken({ ...holder, scope: 'api' });
    access.resourceServer = new provider.ResourceServer(audience, resourceServer);
    const refresh = new provider.RefreshToken({ ...holder, scope: 'openid api', resource: audience, rotations: 0 });
    ctx.body = { access_token: await access.save(), refresh_token: await refresh.save(), token_type: 'Bearer' };
  }, ['username', 'password', 'scope']);
  const count = (outcome) => ({ oidc }) => {
    const key = `${oidc.params?.grant_type} ${outcome}`;
    counts[key] = (counts[key] ?? 0) + 1;
  };
  provider.on('grant.success', count('ok'));
  provider.on('grant.error', count('error'));

  const answer = provider.callback();
  const interact = async (request, response) => {
    const show = (wrong) => response.writeHead(200, { 'Content-Type': 'text/html' }).end(loginPage(wrong));
    if (request.method === 'GET') { show(false); return; }
    const form = new URLSearchParams(Buffer.concat(await request.toArray()).toString());
    if (form.get('action') === 'cancel') {
      await provider.interactionFinished(request, response, { error: 'access_denied' });
    } else if (knows(form.get('login'), form.get('password'))) {
      await provider.interactionFinished(request, response, { login: { accountId: form.get('login') }, consent: {} });
    } else show(true);
  };
  realm.serve = async (request, response, path) => {
    response.setHeader('Date', new Date(Date.now()).toUTCString()); // follows a test's clock
    if (path.startsWith('/interaction/')) { await interact(request, response); return; }
    if (path === '/token') await new Promise((resolve) => { setTimeout(resolve, settings.delayMs); });
    request.originalUrl = request.url; // the provider finds its prefix by comparing these two
    request.url = request.url.slice(`/realms/${name}`.length);
    answer(request, response);
  };
  return realm;
}

// Starts a provider: its address, its first realm's issuer, and how often each grant was ok or refused.
export async function startProvider(options = {}) {
  const settings = { ...defaults, ...options };
  const realms = {};
  const counts = {};
  const serve = (request, response) => {
    const [, realm, path] = /^\/realms\/([^/]+)(\/[^?]*)/.exec(request.url) ?? [];
    if (realms[realm]) realms[realm].serve(request, response, path); else response.writeHead(404).end();
  };
  const server = settings.tls ? createHttpsServer(settings.tls, serve) : createHttpServer(serve);
  const origin = `${settings.tls ? 'https' : 'http'}://127.0.0.1:${await listen(server)}`;
  for (const name of settings.realms) realms[name] = makeRealm(name, origin, settings, counts);
  return {
    origin,
    issuer: `${origin}/realms/${settings.realms[0]}`,
    counts,
    revokeSessions: () => { realms.main.sessions += 1; },
  };
}
