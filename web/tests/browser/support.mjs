// What the browser tests share: the mock server, the browsers, and gestures.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import puppeteer from 'puppeteer-core';

const here = dirname(fileURLToPath(import.meta.url));

export const phone = { width: 390, height: 844, deviceScaleFactor: 3, isMobile: true, hasTouch: true };
export const desktop = { width: 1280, height: 800, deviceScaleFactor: 1 };
export const library = { small: '/l/small', medium: '/l/medium', large: '/l/large' };

/** Starts the mock server on a free port. */
export async function startMock(...options) {
  const child = spawn(process.execPath, [join(here, '../mock/server.mjs'), '0', ...options], {
    stdio: ['ignore', 'pipe', 'inherit'],
  });
  const [line] = await once(child.stdout, 'data');
  return { address: String(line).trim().replace(/\/$/, ''), stop: () => child.kill() };
}

export function launch(browser) {
  if (browser === 'firefox')
    return puppeteer.launch({ browser: 'firefox', executablePath: '/usr/bin/firefox-esr', headless: true });
  return puppeteer.launch({
    executablePath: '/usr/bin/chromium',
    // Browsers' limits of the scroll height count device pixels: 3 is a phone's.
    args: ['--no-sandbox', '--disable-dev-shm-usage', '--force-device-scale-factor=3'],
  });
}

/** A page of a context of its own. Whatever the page reports as an error ends up in page.faults. */
export async function newPage(browser, view, { language = 'en-US', dark = false } = {}) {
  const context = await browser.createBrowserContext();
  const page = await context.newPage();
  page.faults = [];
  page.on('pageerror', (error) => page.faults.push(String(error)));
  page.on('console', (message) => {
    if (/Content.Security.Policy/i.test(message.text())) page.faults.push(message.text());
  });
  // Firefox has no emulation of phones, but has their size.
  await page.setViewport(view.isMobile && browser.isFirefox ? { ...view, isMobile: false, hasTouch: false } : view);
  await page.evaluateOnNewDocument((wanted) => {
    Object.defineProperty(navigator, 'languages', { get: () => [wanted] });
  }, language);
  if (dark) await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: 'dark' }]);
  return page;
}

/** Waits until the condition holds in the page. One that throws, as while the page changes, does not hold. */
export async function until(page, condition, ...args) {
  const end = Date.now() + 20_000;
  while (!(await page.evaluate(condition, ...args).catch(() => false))) {
    if (Date.now() > end) throw new Error(`never came: ${condition}`);
    await new Promise((done) => setTimeout(done, 30));
  }
}

/** Waits until the grid rests and every tile on the screen has its picture. */
export async function untilTiles(page) {
  await until(page, () => {
    const frame = document.querySelector('.scroller')?.getBoundingClientRect();
    if (!frame) return false;
    const tiles = [...document.querySelectorAll('.tile')].filter((tile) => {
      const box = tile.getBoundingClientRect();
      return box.height > 0 && box.bottom > frame.top && box.top < frame.bottom;
    });
    return tiles.length > 0 && tiles.every((tile) => {
      const picture = tile.querySelector('img');
      return tile.href && picture.complete && picture.naturalWidth > 1;
    });
  });
}

/** Ids of the photos on the screen, from the upper left to the lower right. */
export function visibleIds(page) {
  return page.evaluate(() => {
    const frame = document.querySelector('.scroller').getBoundingClientRect();
    return [...document.querySelectorAll('.tile')]
      .map((tile) => ({ tile, box: tile.getBoundingClientRect() }))
      .filter(({ box }) => box.height > 0 && box.bottom > frame.top + 1 && box.top < frame.bottom - 1)
      .sort((a, b) => a.box.top - b.box.top || a.box.left - b.box.left)
      .map(({ tile }) => Number(/photo\/(\d+)/.exec(tile.href)?.[1]));
  });
}

/** The middle of what is visible of a photo's tile, for a click or a tap. */
export async function tileCenter(page, id) {
  const center = await page.evaluate((wanted) => {
    const tile = [...document.querySelectorAll('.tile')].find(
      (one) => one.offsetParent && new RegExp(`photo/${wanted}($|\\?)`).test(one.href),
    );
    if (!tile) return null;
    const box = tile.getBoundingClientRect();
    const frame = document.querySelector('.scroller').getBoundingClientRect();
    const [top, bottom] = [Math.max(box.top, frame.top), Math.min(box.bottom, frame.bottom)];
    return { x: box.left + box.width / 2, y: (top + bottom) / 2 };
  }, id);
  if (!center) throw new Error(`photo ${id} is not on the screen`);
  return center;
}

export async function openViewer(page, id) {
  const { x, y } = await tileCenter(page, id);
  await page.mouse.click(x, y);
  await untilPhoto(page, id);
}

/** Waits until the viewer shows this photo and listens to keys: after its opening animation. */
export async function untilPhoto(page, id) {
  await until(page, (wanted) => location.pathname.endsWith(`/photo/${wanted}`) && !!document.querySelector('.viewer.ready'), id);
}

export async function untilClosed(page) {
  await until(page, () => !document.querySelector('.pswp') && !/\/photo\//.test(location.pathname));
}

export async function swipe(page, fromX, toX, y) {
  const touch = await page.touchscreen.touchStart(fromX, y);
  for (let i = 1; i <= 8; i++) await touch.move(fromX + ((toX - fromX) * i) / 8, y);
  await touch.end();
}

/** Two fingers at the same height, from one distance to another (Chromium only). */
export async function pinch(page, x, y, from, to) {
  const session = await page.createCDPSession();
  const points = (distance) => [
    { x: x - distance / 2, y, id: 0 },
    { x: x + distance / 2, y, id: 1 },
  ];
  await session.send('Input.dispatchTouchEvent', { type: 'touchStart', touchPoints: points(from) });
  for (let i = 1; i <= 10; i++) {
    const touchPoints = points(from + ((to - from) * i) / 10);
    await session.send('Input.dispatchTouchEvent', { type: 'touchMove', touchPoints });
  }
  await session.send('Input.dispatchTouchEvent', { type: 'touchEnd', touchPoints: [] });
  await session.detach();
}

/** Drags the scrubber's knob to a part of the list, 0 to 1. */
export async function scrub(page, part) {
  await page.evaluate(() => document.querySelector('.scroller').dispatchEvent(new Event('scroll')));
  const at = await page.evaluate(() => {
    const bar = document.querySelector('.scrubber').getBoundingClientRect();
    const knob = document.querySelector('.knob').getBoundingClientRect();
    return { x: knob.left + knob.width / 2, y: knob.top + knob.height / 2, top: bar.top + knob.height / 2, way: bar.height - knob.height };
  });
  await page.mouse.move(at.x, at.y);
  await page.mouse.down();
  await page.mouse.move(at.x, (at.y + at.top + at.way * part) / 2);
  await page.mouse.move(at.x, at.top + at.way * part);
  // The drag happens in the next frame.
  await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
  await page.mouse.up();
}
