// Takes the pictures of the page that stand in the documents: node screenshots.mjs URL FOLDER.
import { chromium } from 'playwright-core';

const [url, folder] = process.argv.slice(2);
const DESK = { width: 1440, height: 900 };
const PHONE = { width: 390, height: 844 };
const PICTURES = [
  ['house-light', '#house', 'light', DESK], ['house-dark', '#house', 'dark', DESK], ['house-phone', '#house', 'light', PHONE],
  ['keypad', '#driver?driver=dining_keypad', 'light', DESK], ['light', '#driver?driver=worktop', 'light', DESK],
  ['energy', '#energy', 'light', DESK], ['tape', '#tape?driver=worktop', 'dark', DESK],
];

const browser = await chromium.launch({ executablePath: process.env.CHROMIUM || '/usr/bin/chromium', args: ['--no-sandbox'] });
for (const [name, hash, colorScheme, viewport] of PICTURES) {
  const context = await browser.newContext({ colorScheme, viewport, reducedMotion: 'reduce' });
  const page = await context.newPage();
  await page.goto(`${url}/${hash}`);
  await page.getByRole('status', { name: 'connection' }).getByText(/^(live|paused)$/).waitFor();
  if (name === 'tape') await page.getByRole('row', { name: /stores scene/ }).first().getByRole('button').click();
  await page.evaluate(() => document.fonts.ready);
  await page.screenshot({ path: `${folder}/live-${name}.png` });
  await context.close();
}
await browser.close();
