// The page with the real server and a sample library.
//
//   MOXTEL_SERVER=…/moxtelserverd MOXTEL_MAKE_LIBRARY=…/moxtel-make-library node --test browser/server.test.mjs
import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { createServer } from 'node:net';
import { randomInt } from 'node:crypto';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, describe, test } from 'node:test';
import { desktop, launch, newPage, openViewer, phone, until, untilClosed, untilPhoto, untilTiles, visibleIds } from './support.mjs';

// None of those that the system gives to outgoing connections.
function freePort() {
  return new Promise((done) => {
    const port = randomInt(10000, 32000);
    const probe = createServer();
    probe.once('error', () => done(freePort()));
    probe.listen(port, '127.0.0.1', () => probe.close(() => done(port)));
  });
}

describe('with the real server', () => {
  const folder = mkdtempSync(join(tmpdir(), 'page-server-'));
  let server;
  let browser;
  let address;
  let digits;

  before(async () => {
    const make = (name, ...options) => execFileSync(process.env.MOXTEL_MAKE_LIBRARY, [join(folder, name), ...options], { stdio: 'ignore' });
    make('Sample', '--photos', '60', '--images', 'photo');
    make('Other', '--photos', '30', '--images', 'small', '--seed', '2');
    const port = await freePort();
    const environment = { ...process.env, HOME: folder, XDG_CACHE_HOME: join(folder, 'cache'), XDG_CONFIG_HOME: join(folder, 'config'), XDG_DATA_HOME: join(folder, 'data') };
    server = spawn(process.env.MOXTEL_SERVER, ['-LibraryPath', join(folder, 'Sample'), '-WebLibraries', join(folder, 'Other'),
      '-Port', `${await freePort()}`, '-WebPort', `${port}`], { env: environment, stdio: ['ignore', 'pipe', 'ignore'] });
    address = `http://127.0.0.1:${port}`;
    digits = await new Promise((done, fail) => {
      let console = '';
      server.stdout.on('data', (data) => {
        console += data;
        const shown = /six digits (\d{6})/.exec(console);
        if (shown) done(shown[1]);
      });
      server.on('exit', () => fail(new Error(console)));
    });
    browser = await launch('chromium');
  });
  after(async () => {
    await browser?.close();
    server.removeAllListeners('exit');
    server.kill();
    rmSync(folder, { recursive: true, force: true });
  });

  /** A page that has the key; it shows the library with this many photos or more. */
  async function open(view, path = 'photos', options = {}) {
    const page = await newPage(browser, view, options);
    await page.goto(address + '/');
    await page.waitForSelector('#digits');
    await page.type('#digits', digits);
    await page.waitForSelector('.library-card');
    const card = await page.$$eval('.library-card', (cards) => cards.find((one) => /Sample/.test(one.textContent)).getAttribute('href'));
    await page.goto(address + card.replace('photos', path));
    return page;
  }

  async function close(page) {
    assert.deepEqual(page.faults, []);
    await page.browserContext().close();
  }

  test('the digits admit, and each library has a card', async () => {
    const page = await open(phone);
    await untilTiles(page);
    await page.goto(address + '/');
    await page.waitForSelector('.library-card');
    assert.equal((await page.$$('.library-card')).length, 2);
    await close(page);
  });

  test('the address of the QR code admits for good', async () => {
    const [key] = readFileSync(join(folder, 'config/MoxtelServer/web-access'), 'utf8').split('\n');
    const page = await newPage(browser, phone);
    await page.goto(`${address}/in/${key}`);
    await page.waitForSelector('.library-card');
    assert.equal(new URL(page.url()).pathname, '/');
    const [cookie] = await page.cookies();
    assert.ok(cookie.httpOnly && cookie.expires > Date.now() / 1000 + 300 * 86_400);
    await page.goto(`${address}/in/${'A'.repeat(key.length)}`);
    assert.ok(!(await page.$('.library-card')));
    await close(page);
  });

  test('who lost the key comes back to the same view with the digits', async () => {
    const page = await open(phone, 'people');
    await page.waitForSelector('.card');
    const address = page.url();
    await page.deleteCookie(...(await page.cookies()));
    await page.evaluate(() => document.dispatchEvent(new Event('visibilitychange')));
    await page.waitForSelector('#digits');
    await page.type('#digits', digits);
    await page.waitForSelector('.card');
    assert.equal(page.url(), address);
    await close(page);
  });

  test('a slideshow goes on by itself', async () => {
    const page = await open(desktop);
    await untilTiles(page);
    const [id] = await visibleIds(page);
    await openViewer(page, id);
    await page.click('.pswp button[aria-label="Slideshow"]');
    await until(page, (first) => /\/photo\/\d+$/.test(location.pathname) && !location.pathname.endsWith(`/photo/${first}`), id);
    await page.keyboard.press('Escape');
    await untilClosed(page);
    await close(page);
  });

  test('photos open, and go on to the next one', async () => {
    const page = await open(desktop);
    await untilTiles(page);
    const ids = await visibleIds(page);
    await openViewer(page, ids[1]);
    const shows = (id) => until(page, (wanted) => [...document.querySelectorAll('.pswp__img')].some((p) => (p.currentSrc ?? '').includes(`/preview/${wanted}?`) && p.naturalWidth > 500), id);
    await shows(ids[1]);
    await page.keyboard.press('ArrowRight');
    await untilPhoto(page, ids[2]);
    await page.keyboard.press('Escape');
    await untilClosed(page);
    await untilTiles(page);
    assert.deepEqual(await visibleIds(page), ids);
    await close(page);
  });

  test('people and albums have their pictures', async () => {
    for (const path of ['people', 'albums', 'events']) {
      const page = await open(phone, path);
      await until(page, () => {
        const pictures = [...document.querySelectorAll('.cover img')].slice(0, 4);
        return pictures.length > 0 && pictures.every((picture) => picture.naturalWidth > 1);
      });
      await close(page);
    }
  });

  test('an old movie is converted and plays', async () => {
    const page = await open(desktop, 'list/movies');
    await untilTiles(page);
    const [id] = await visibleIds(page);
    await openViewer(page, id);
    await until(page, () => document.querySelector('.pswp__item[aria-hidden="false"] :is(.play, video)'));
    const play = await page.$('.pswp__item[aria-hidden="false"] .play');
    await play?.click();
    await until(page, () => document.querySelector('.pswp__item[aria-hidden="false"] video')?.readyState >= 1);
    await close(page);
  });

  test('the zip file has the size that is shown', async () => {
    const page = await open(desktop, 'list/flagged');
    await untilTiles(page);
    await page.click('.tool[aria-label="More"]');
    await page.click('.item');
    await page.waitForSelector('dialog a.button');
    const sizes = await page.evaluate(async () => {
      const link = document.querySelector('dialog a.button').getAttribute('href');
      const { bytes } = await (await fetch(link.replace('/zip/', '/api/1/zip/'))).json();
      return [bytes, (await (await fetch(link)).arrayBuffer()).byteLength];
    });
    assert.ok(sizes[0] > 1000);
    assert.equal(sizes[0], sizes[1]);
    await close(page);
  });

  test('search finds a name as one types', async () => {
    const page = await open(phone, 'search');
    await page.waitForSelector('input[type=search]');
    await page.type('input[type=search]', 'anna');
    await until(page, () => [...document.querySelectorAll('.suggestions a')].some((a) => /Anna/.test(a.textContent)));
    await untilTiles(page);
    await close(page);
  });
});
