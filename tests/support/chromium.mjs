// A person at a headless Chromium.

import { spawnSync } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { By, Key, until } from 'selenium-webdriver';
import { Driver, Options, ServiceBuilder } from 'selenium-webdriver/chrome.js';
import { Level, Preferences, Type } from 'selenium-webdriver/lib/logging.js';

if (spawnSync('chromedriver', ['--version']).error) {
  console.log('skipped: no Chromium: apt-get install chromium chromium-driver');
  process.exit(process.env.CI === 'true' ? 1 : 77);
}

export { By, Key, Type, until };
export const patience = 60000;

// Opens an address and has `person(page)` do what is to be done; resolves to what that resolves to.
// Certificates are not checked, since the authority is the test's own.
export async function openPage(address, person, size = '1100,1000') {
  const logs = new Preferences();
  logs.setLevel(Type.BROWSER, Level.ALL);
  const options = new Options().setAcceptInsecureCerts(true).addArguments('--headless=new', '--no-sandbox',
    '--disable-gpu', '--no-first-run', '--disable-background-networking', `--window-size=${size}`);
  options.setLoggingPrefs(logs);
  const directory = mkdtempSync(join(tmpdir(), 'varnel-chromium-')); // where Chromium leaves its files behind
  const service = new ServiceBuilder('chromedriver').setEnvironment({ ...process.env, TMPDIR: directory }).build();
  const driver = Driver.createSession(options, service);
  const find = (selector) => driver.wait(until.elementLocated(By.css(selector)), patience, selector);
  const page = {
    driver,
    find,
    click: async (selector) => driver.wait(until.elementIsVisible(await find(selector)), patience).click(),
    type: async (selector, text) => { await (await find(selector)).clear(); await (await find(selector)).sendKeys(text); },
    readTitle: async () => { await find('h1'); return driver.getTitle(); }, // of a page that has a heading
  };
  try {
    await driver.get(address);
    return await person(page);
  } finally {
    await driver.quit();
    rmSync(directory, { recursive: true, force: true });
  }
}
