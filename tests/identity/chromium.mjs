// A person at a headless Chromium.

import { spawnSync } from 'node:child_process';
import { By, until } from 'selenium-webdriver';
import { Driver, Options, ServiceBuilder } from 'selenium-webdriver/chrome.js';

if (spawnSync('chromedriver', ['--version']).error) {
  console.log('skipped: no Chromium: apt-get install chromium chromium-driver');
  process.exit(process.env.CI === 'true' ? 1 : 77);
}

// Opens an address and has `person(page)` do what is to be done; resolves to what that resolves to.
// Certificates are not checked, since the authority is the test's own.
export async function openPage(address, person) {
  const options = new Options().setAcceptInsecureCerts(true)
    .addArguments('--headless', '--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking');
  const driver = Driver.createSession(options, new ServiceBuilder('chromedriver').build());
  const find = (selector) => driver.findElement(By.css(selector));
  const page = {
    find,
    click: async (selector) => driver.wait(until.elementIsVisible(await find(selector))).click(),
    type: async (selector, text) => { await (await find(selector)).clear(); await find(selector).sendKeys(text); },
    readTitle: async () => { await find('h1'); return driver.getTitle(); }, // of the program's own page: it alone has one
  };
  try {
    await driver.manage().setTimeouts({ implicit: 20000 });
    await driver.get(address);
    return await person(page);
  } finally {
    await driver.quit();
  }
}
