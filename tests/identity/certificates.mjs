// Certificates for 127.0.0.1, good and bad, made with the openssl program.

import { execFileSync } from 'node:child_process';
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';

const openssl = (...args) => execFileSync('openssl', args, { stdio: 'pipe' });
const key = ['-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes'];

// Makes an authority in a directory: { file, issue }.
export function makeAuthority(directory) {
  const path = (name) => join(directory, name);
  openssl('req', '-x509', ...key, '-subj', '/CN=Test authority', '-keyout', path('ca.key'), '-out', path('ca.pem'));
  // A certificate with this common name and alternative names, good for so many days from now.
  const issue = (commonName, names, days = 1) => {
    openssl('req', ...key, '-subj', `/CN=${commonName}`, '-keyout', path('key.pem'), '-out', path('request.pem'));
    writeFileSync(path('extensions'), names ? `subjectAltName=${names}\n` : '');
    openssl('x509', '-req', '-in', path('request.pem'), '-CA', path('ca.pem'), '-CAkey', path('ca.key'), '-days', `${days}`, '-extfile', path('extensions'), '-out', path('cert.pem'));
    return { cert: readFileSync(path('cert.pem')), key: readFileSync(path('key.pem')) };
  };
  return { file: path('ca.pem'), issue };
}
