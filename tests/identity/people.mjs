// Signs in at the test provider without any browser.

export const alice = { name: 'alice', password: 'wonderland', action: 'sign-in' };

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
