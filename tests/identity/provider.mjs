// An OpenID Connect provider for tests: the certified `oidc-provider` package, everything in memory, on
// 127.0.0.1. Whoever comes with a browser is alice, and is asked nothing.

import { createServer } from 'node:http';
import { generateKeyPairSync, randomBytes } from 'node:crypto';
import { Provider, errors } from 'oidc-provider';
import MemoryAdapter from 'oidc-provider/lib/adapters/memory_adapter.js';
import { listen } from './harness.mjs';

const audience = 'urn:test:api';
const { privateKey } = generateKeyPairSync('rsa', { modulusLength: 2048 });

const defaults = {
  users: {
    alice: { password: 'wonderland', claims: { groups: ['alpha'] } },
    bob: { password: 'builder', claims: { groups: ['beta'] } },
  },
  format: 'jwt', // or 'opaque'
  lifetime: 300,
  rotate: true, // a refresh token is good once; its second use ends the session
};

// Starts a provider: its issuer, how often each grant was ok or refused, and what ends all sessions.
export async function startProvider(options = {}) {
  const settings = { ...defaults, ...options };
  const counts = {};
  let sessions = 0;
  const server = createServer((request, response) => {
    response.setHeader('Date', new Date(Date.now()).toUTCString()); // follows a test's clock
    if (request.url.startsWith('/interaction/')) {
      provider.interactionFinished(request, response, { login: { accountId: 'alice' }, consent: {} });
    } else answer(request, response);
  });
  const issuer = `http://127.0.0.1:${await listen(server)}`;
  class Store extends MemoryAdapter {
    key(id) { return `${issuer} ${sessions} ${super.key(id)}`; } // out of the others' sight
  }
  const resourceServer = { scope: 'api', audience, accessTokenTTL: settings.lifetime, accessTokenFormat: settings.format };
  const makeGrant = async (accountId) => {
    const grant = new provider.Grant({ clientId: 'varnel', accountId });
    grant.addOIDCScope('openid');
    grant.addResourceScope(audience, 'api');
    await grant.save();
    return grant;
  };
  const provider = new Provider(issuer, {
    adapter: Store,
    jwks: { keys: [{ ...privateKey.export({ format: 'jwk' }), alg: 'RS256', use: 'sig', kid: 'main' }] },
    cookies: { keys: [randomBytes(32).toString('hex')] },
    clients: [{
      client_id: 'varnel',
      token_endpoint_auth_method: 'none',
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
    interactions: { url: (ctx, interaction) => `${issuer}/interaction/${interaction.uid}` },
    features: {
      devInteractions: { enabled: false },
      resourceIndicators: { enabled: true, defaultResource: () => audience, useGrantedResource: () => true, getResourceServerInfo: () => resourceServer },
    },
  });
  provider.registerGrantType('password', async (ctx) => {
    const { username, password } = ctx.oidc.params;
    if (settings.users[username]?.password !== password) throw new errors.InvalidGrant('unknown name or wrong password');
    const holder = { accountId: username, client: ctx.oidc.client, grantId: (await makeGrant(username)).jti, gty: 'password' };
    const access = new provider.AccessToken({ ...holder, scope: 'api' });
    access.resourceServer = new provider.ResourceServer(audience, resourceServer);
    const refresh = new provider.RefreshToken({ ...holder, scope: 'openid api', resource: audience, rotations: 0 });
    ctx.body = { access_token: await access.save(), refresh_token: await refresh.save(), token_type: 'Bearer' };
  }, ['username', 'password', 'scope']);
  for (const [event, outcome] of [['grant.success', 'ok'], ['grant.error', 'error']]) {
    provider.on(event, ({ oidc }) => {
      const key = `${oidc.params?.grant_type} ${outcome}`;
      counts[key] = (counts[key] ?? 0) + 1;
    });
  }
  const answer = provider.callback();
  return { issuer, counts, endSessions: () => { sessions += 1; } };
}
