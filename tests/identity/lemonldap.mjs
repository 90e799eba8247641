// LemonLDAP::NG, an OpenID Connect provider that compares whole redirect URIs and issues refresh tokens
// for offline_access alone.

import { execFileSync } from 'node:child_process';
import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { clientSecret, listLibraries, makePlace, root, startServer } from './packaged.mjs';

// What an administrator sets: the place, the provider's keys, and one client.
function makeSettings(home, origin, redirectUri) {
  const openssl = (...args) => execFileSync('openssl', args, { cwd: home, stdio: 'pipe' });
  openssl('genrsa', '-out', 'signing.key', '2048');
  openssl('rsa', '-in', 'signing.key', '-pubout', '-out', 'signing.pub');
  const store = (name) => ({ Directory: join(home, name), LockDirectory: join(home, name) });
  for (const name of ['conf', 'cache', 'sessions', 'psessions']) mkdirSync(join(home, name));
  return {
    cfgNum: 1, cfgDate: 1,
    portal: `${origin}/`, domain: 'localhost', cookieName: 'lemonldap', securedCookie: 1,
    authentication: 'Demo', userDB: 'Same', passwordDB: 'Demo', // dwho, with the password dwho
    demoExportedVars: { cn: 'cn', mail: 'mail', uid: 'uid' }, whatToTrace: 'uid', groups: { alpha: '$uid eq "dwho"' },
    locationRules: { localhost: { default: 'accept' } }, exportedHeaders: {},
    globalStorage: 'Apache::Session::File', globalStorageOptions: store('sessions'),
    persistentStorage: 'Apache::Session::File', persistentStorageOptions: store('psessions'),
    localSessionStorageOptions: { cache_root: join(home, 'cache'), namespace: 'sessions', default_expires_in: 600, cache_depth: 3 },
    captcha: '::Plugins::History', // none is shown; the usual module draws pictures
    portalCheckLogins: 0, portalDisplayRegister: 0, portalDisplayResetPassword: 0,
    issuerDBOpenIDConnectActivation: 1, oidcServiceAllowAuthorizationCodeFlow: 1, oidcServiceIgnoreScopeForClaims: 1,
    oidcServicePrivateKeySig: readFileSync(join(home, 'signing.key'), 'utf8'),
    oidcServicePublicKeySig: readFileSync(join(home, 'signing.pub'), 'utf8'),
    oidcServiceKeyIdSig: 'key',
    oidcRPMetaDataExportedVars: { varnel: { groups: 'groups' } },
    oidcRPMetaDataOptions: {
      varnel: {
        oidcRPMetaDataOptionsClientID: 'varnel',
        oidcRPMetaDataOptionsClientSecret: clientSecret,
        oidcRPMetaDataOptionsRedirectUris: redirectUri,
        oidcRPMetaDataOptionsRequirePKCE: 1,
        oidcRPMetaDataOptionsRefreshToken: 1,
        oidcRPMetaDataOptionsAllowPasswordGrant: 1,
        oidcRPMetaDataOptionsAccessTokenJWT: 1,
        oidcRPMetaDataOptionsAccessTokenClaims: 1,
        oidcRPMetaDataOptionsAccessTokenSignAlg: 'RS256',
        oidcRPMetaDataOptionsIDTokenSignAlg: 'RS256',
        oidcRPMetaDataOptionsAccessTokenExpiration: 300,
      },
    },
  };
}

// Starts a provider for a program that listens on one port; resolves to its issuer and its authority's file.
export async function startLemonldap(callbackPort) {
  const { home, port, origin, authority } = await makePlace();
  const settings = makeSettings(home, origin, `http://127.0.0.1:${callbackPort}/callback`);
  writeFileSync(join(home, 'conf/lmConf-1.json'), JSON.stringify(settings));
  writeFileSync(join(home, 'settings.ini'), `[all]
logLevel = info
[configuration]
type = File
dirName = ${home}/conf
localStorage = Cache::FileCache
localStorageOptions = { 'namespace' => 'settings', 'cache_root' => '${home}/cache' }
[portal]
staticPrefix = /static
templateDir = ${root}/usr/share/lemonldap-ng/portal/templates
languages = en
`);
  writeFileSync(join(home, 'portal.psgi'), `use Plack::Builder;
builder {
    enable 'Static', path => sub { s!^/javascript/!/! }, root => '${root}/usr/share/javascript';
    enable 'Static', path => sub { s!^/static/!/! }, root => '${root}/usr/share/lemonldap-ng/portal/htdocs/static';
    do '${root}/usr/share/doc/liblemonldap-ng-portal-perl/examples/index.psgi';
}
`);
  const args = ['--listen', `127.0.0.1:${port}:ssl`, '--workers', '4', '--ssl-key', join(home, 'key'), '--ssl-cert', join(home, 'cert')];
  const environment = {
    LLNG_DEFAULTCONFFILE: join(home, 'settings.ini'),
    PERL5LIB: `${join(root, 'usr/share/perl5')}:${listLibraries('perl5/5.36')}`,
  };
  await startServer('starman', [...args, join(home, 'portal.psgi')], environment, 'Binding to ');
  return { issuer: origin, authority };
}
