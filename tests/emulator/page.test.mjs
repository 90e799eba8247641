// The page below /_local/ in a real browser. With PICTURES=DIRECTORY it leaves two pictures there.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { writeFileSync } from 'node:fs';
import { test } from 'node:test';
import { By, Key, Type, openPage, patience, until } from '../support/chromium.mjs';

const base = process.env.VARNEL_EMULATOR_URL;

async function ask(method, path, body) {
  const answer = await fetch(base + path, { method, body });
  return answer.json();
}

async function withPage(use, size) {
  await ask('POST', '/_local/reset');
  await openPage(`${base}/_local/`, async ({ driver, find }) => {
    const read = (selector) => driver.executeScript('return document.querySelector(arguments[0])?.textContent', selector);
    const shows = (selector, text) => driver.wait(async () => (await read(selector))?.includes(text), patience, `${selector} shows ${text}`);
    const button = (name) => driver.wait(until.elementLocated(By.xpath(`//button[@aria-label="${name}" or text()="${name}"]`)), patience, name);
    const picture = async (name) => process.env.PICTURES && writeFileSync(`${process.env.PICTURES}/${name}.png`, await driver.takeScreenshot(), 'base64');
    await shows('#connection', 'Live');
    await shows('#now', ':'); // has read the emulator's state
    await use({ driver, find, read, shows, button, picture });
    const problems = (await driver.manage().logs().get(Type.BROWSER)).map(({ message }) => message);
    assert.deepEqual(problems.filter((message) => !/status of 4\d\d/.test(message)), []);
  }, size);
}

test('shows executions and requests as they come, and filters them', () => withPage(async ({ driver, find, read, shows, button, picture }) => {
  await driver.wait(until.elementLocated(By.xpath('//summary[contains(., "sim-bridge")]')), patience).sendKeys(Key.ENTER);
  await shows('#simulations', 'exe-2');
  await ask('POST', '/simulations/sim-bridge/executions', '{"text": "it\'s <b>bold</b>"}');
  await shows('#simulations', 'queued');
  await (await button('Finish exe-3')).sendKeys(Key.ENTER);
  await driver.wait(async () => !(await read('#simulations')).includes('queued'), patience);
  await ask('GET', '/users?limit=1');
  await shows('#requests', '/users?limit=1');
  await (await find('#filter [name=text]')).sendKeys('bold');
  await shows('#request-count', '1 of 2');
  await (await find('#requests button')).sendKeys(Key.ENTER);
  await shows('#request-body', 'it\'s <b>bold</b>');
  const command = await read('#curl');
  assert.equal(spawnSync('sh', ['-c', `${command} -sS`]).status, 0, command);
  await (await find('#filter [name=text]')).sendKeys(Key.chord(Key.CONTROL, 'a'), Key.DELETE);
  await shows('#request-count', '3');
  assert.deepEqual((await ask('GET', '/_local/requests')).items.map(({ body }) => body).filter(Boolean), Array(2).fill('{"text": "it\'s <b>bold</b>"}'));
  await picture('emulator-page');
}));

test('changes clock, rules and state, and says what is refused', () => withPage(async ({ driver, find, read, shows, button }) => {
  const before = await read('#now');
  await (await button('Advance')).click();
  await driver.wait(async () => Date.parse(await read('#now')) - Date.parse(before) >= 10000, patience);
  const rule = await find('#add-rule textarea');
  await rule.clear();
  await rule.sendKeys('{"method": "get", "action": "none"}');
  await (await button('Add')).click();
  await shows('#problem', 'action: must be one of');
  await rule.clear();
  await rule.sendKeys('{"method": "get", "action": "reset"}');
  await (await button('Add')).click();
  await shows('#rules', 'methods are in upper case');
  const { items } = await ask('GET', '/_local/faults');
  await (await button(`Remove rule ${items[0].id}`)).click();
  await driver.wait(async () => (await read('#rules')) === '', patience);
  await ask('POST', '/_local/simulations', '{"id": "made-meanwhile"}');
  await shows('#simulations', 'made-meanwhile');
  await (await button('Reset')).click();
  await driver.wait(async () => !(await read('#simulations')).includes('made-meanwhile'), patience);
}));

test('fits a narrow screen in dark, and keeps to its policy', () => withPage(async ({ driver, find, shows, picture }) => {
  await driver.sendDevToolsCommand('Emulation.setEmulatedMedia', { features: [{ name: 'prefers-color-scheme', value: 'dark' }] });
  await driver.sendDevToolsCommand('Emulation.setDeviceMetricsOverride', { width: 320, height: 900, deviceScaleFactor: 1, mobile: true });
  await ask('GET', `/simulations/${'long'.repeat(40)}`);
  await shows('#requests', 'long');
  await (await find('#requests button')).click();
  const wide = await driver.executeScript('return document.documentElement.scrollWidth - document.documentElement.clientWidth');
  assert.equal(wide, 0, 'the page scrolls sideways');
  const [red] = (await driver.executeScript('return getComputedStyle(document.body).backgroundColor')).match(/\d+/g);
  assert.ok(Number(red) < 64, 'dark is not dark');
  await picture('emulator-page-narrow');
  const policy = (await fetch(`${base}/_local/`)).headers.get('content-security-policy');
  assert.match(policy, /^default-src 'none'; script-src 'self';/);
  assert.doesNotMatch(policy, /unsafe|\*/);
}, '320,900'));
