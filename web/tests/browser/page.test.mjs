// The page in Chromium and Firefox ESR, with made-up libraries of up to a million photos.
//
//   node --test browser/page.test.mjs     both browsers; PAGE_BROWSER=chromium or firefox: one of them
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { after, before, describe, test } from 'node:test';
import {
  desktop, launch, library, newPage, openViewer, phone, pinch, scrub, startMock, swipe, tileCenter, until, untilClosed,
  untilPhoto, untilTiles, visibleIds,
} from './support.mjs';

let server;
before(async () => {
  server = await startMock('--open');
});
after(() => server.stop());

async function open(browser, path, view = desktop, options = {}) {
  const page = await newPage(browser, view, options);
  await page.goto(server.address + path);
  return page;
}

async function close(page) {
  assert.deepEqual(page.faults, []);
  await page.browserContext().close();
}

/** Tests that both browsers pass. */
function inEveryBrowser(name) {
  describe(name, () => {
    let browser;
    before(async () => {
      browser = await launch(name);
      browser.isFirefox = name === 'firefox';
    });
    after(() => browser.close());

    test('shows the newest photos last, and the oldest after Home', async () => {
      const page = await open(browser, library.medium + '/photos', phone);
      await untilTiles(page);
      assert.equal((await visibleIds(page)).at(-1), 100_000);
      await page.focus('.tile[tabindex="0"]');
      await page.keyboard.press('Home');
      await until(page, () => /photo\/1$/.test(document.activeElement.href));
      await untilTiles(page);
      assert.equal((await visibleIds(page))[0], 1);
      await close(page);
    });

    test('reaches the middle of 100,000 photos and the last of 1,000,000 by the scrubber', async () => {
      const medium = await open(browser, library.medium + '/photos', phone);
      await untilTiles(medium);
      await scrub(medium, 0.5);
      await untilTiles(medium);
      const [middle] = await visibleIds(medium);
      assert.ok(middle > 40_000 && middle < 60_000, `${middle}`);
      await close(medium);

      const large = await open(browser, library.large + '/photos', phone);
      await untilTiles(large);
      assert.equal((await visibleIds(large)).at(-1), 1_000_000);
      await scrub(large, 0);
      await untilTiles(large);
      assert.equal((await visibleIds(large))[0], 1);
      await scrub(large, 1);
      await untilTiles(large);
      assert.equal((await visibleIds(large)).at(-1), 1_000_000);
      await close(large);
    });

    test('goes on scrolling where the scrolled element ends', async () => {
      const page = await open(browser, library.large + '/photos', phone);
      await untilTiles(page);
      await scrub(page, 0);
      await untilTiles(page);
      await page.evaluate(() => {
        const scroller = document.querySelector('.scroller');
        scroller.scrollTop = scroller.scrollHeight;
      });
      await untilTiles(page);
      // The window moves at rest: the same photos, at the same places.
      const before = await visibleIds(page);
      await until(page, () => document.querySelector('.scroller').scrollTop < 1_500_000);
      assert.deepEqual(await visibleIds(page), before);
      await close(page);
    });

    test('opens a photo, moves through the list, and comes back to the same place', async () => {
      const page = await open(browser, library.medium + '/photos');
      await untilTiles(page);
      await scrub(page, 0.3);
      await untilTiles(page);
      const ids = await visibleIds(page);
      const id = ids[10];
      await openViewer(page, id);
      await page.keyboard.press('ArrowRight');
      await untilPhoto(page, id + 1);
      await page.keyboard.press('ArrowLeft');
      await untilPhoto(page, id);
      await page.keyboard.press('Escape');
      await untilClosed(page);
      await untilTiles(page);
      assert.deepEqual(await visibleIds(page), ids);
      await close(page);
    });

    test('closes the viewer by the back button', async () => {
      const page = await open(browser, library.small + '/photos');
      await untilTiles(page);
      await openViewer(page, 60);
      await page.goBack();
      await untilClosed(page);
      assert.equal(new URL(page.url()).pathname, '/l/small/photos');
      await close(page);
    });

    test('comes back to the same place although the list moves behind the viewer', async () => {
      const page = await open(browser, library.medium + '/photos');
      await untilTiles(page);
      await scrub(page, 0.3);
      await untilTiles(page);
      const ids = await visibleIds(page);
      await openViewer(page, ids[10]);
      // Pages and pictures that arrive while the viewer closes make the list draw itself.
      await page.evaluate(() => {
        const move = () => {
          document.querySelector('.scroller').dispatchEvent(new Event('scroll'));
          if (document.querySelector('.pswp')) requestAnimationFrame(move);
        };
        requestAnimationFrame(move);
      });
      await page.goBack();
      await untilClosed(page);
      await untilTiles(page);
      assert.deepEqual(await visibleIds(page), ids);
      await close(page);
    });

    test('opens an address that was sent, beyond the first page of the list', async () => {
      const page = await open(browser, library.large + '/list/all/photo/654321');
      await untilPhoto(page, 654321);
      await until(page, () => [...document.querySelectorAll('.pswp__img')].some((p) => /preview\/654321/.test(p.src ?? '') && p.naturalWidth > 1));
      await page.keyboard.press('ArrowRight');
      await untilPhoto(page, 654322);
      await page.keyboard.press('Escape');
      await untilClosed(page);
      await untilTiles(page);
      assert.ok((await visibleIds(page)).includes(654322));
      await close(page);
    });

    test('shows the list for the address of a photo that is not in it', async () => {
      const page = await open(browser, library.small + '/list/flagged/photo/999999');
      await until(page, () => location.pathname.endsWith('/list/flagged'));
      await untilTiles(page);
      await close(page);
    });

    test('finds as one types', async () => {
      const page = await open(browser, library.medium + '/search');
      await page.waitForSelector('input[type=search]');
      await page.type('input[type=search]', 'be');
      await until(page, () => location.pathname === '/l/medium/search/be');
      await until(page, () => [...document.querySelectorAll('.suggestions a')].some((a) => /Ben/.test(a.textContent)));
      await untilTiles(page);
      await page.type('input[type=search]', ' nothing');
      await until(page, () => /No photos here/.test(document.body.textContent));
      await close(page);
    });

    test('plays a movie, and an old one after its conversion', async () => {
      const page = await open(browser, library.small + '/list/movies');
      await untilTiles(page);
      const ids = await visibleIds(page);
      const [ready, old] = [ids.find((id) => id % 2 === 0), ids.find((id) => id % 2 === 1)];
      assert.ok(ready && old);
      for (const id of [ready, old]) {
        if (!id) continue;
        await openViewer(page, id);
        if (id === old) {
          await page.waitForSelector('.pswp__item[aria-hidden="false"] .play');
          await page.click('.pswp__item[aria-hidden="false"] .play');
        }
        await until(page, () => document.querySelector('.pswp__item[aria-hidden="false"] video')?.readyState >= 1);
        await page.keyboard.press('Escape');
        await untilClosed(page);
      }
      await close(page);
    });

    test('plays the movie of a live photo once', async () => {
      const page = await open(browser, library.small + '/photos');
      await untilTiles(page);
      const live = await page.evaluate(async () => {
        for (let id = 1; id <= 60; id++) {
          if ((await (await fetch(`/l/small/api/1/photo/${id}`)).json()).live) return id;
        }
        return 0;
      });
      await page.goto(page.url().replace('/photos', `/list/all/photo/${live}`));
      await untilPhoto(page, live);
      await page.click('.pswp__button--live');
      await until(page, () => document.querySelector('.movie.live video')?.readyState >= 1);
      assert.equal(await page.$eval('.movie.live video', (video) => video.controls), false);
      await page.$eval('.movie.live video', (video) => {
        video.currentTime = video.duration;
        void video.play();
      });
      await until(page, () => !document.querySelector('.movie.live'));
      // Other photos have no such button.
      await page.keyboard.press('l');
      await page.waitForSelector('.movie.live');
      await page.keyboard.press('l');
      assert.equal(await page.$('.movie.live'), null);
      await close(page);
    });

    test('says that there is no such view, and leads on', async () => {
      const page = await open(browser, library.small + '/nonsense');
      await until(page, () => /nothing at this address/.test(document.body.textContent));
      await page.click('.notice a');
      await untilTiles(page);
      await close(page);
    });

    test('speaks German', async () => {
      const page = await open(browser, library.small + '/photos', desktop, { language: 'de-CH' });
      await untilTiles(page);
      const words = await page.evaluate(() => [document.documentElement.lang, document.querySelector('h1').textContent, document.querySelector('.heading').textContent]);
      assert.equal(words[0], 'de-CH');
      assert.equal(words[1], 'Fotos');
      assert.match(words[2], /^[A-Z][a-z]+tag|^Mittwoch/);
      await page.goto(server.address + library.small + '/albums');
      await until(page, () => /^1 Ordner, 6 Alben/.test(document.querySelector('.card.folder .card-sub')?.textContent ?? ''));
      await close(page);
    });

    test('says that a folder is not there', async () => {
      const page = await open(browser, library.small + '/albums?in=folder:999');
      await until(page, () => /There is nothing at this address/.test(document.querySelector('.notice')?.textContent ?? ''));
      assert.equal(await page.$('.card'), null);
      await page.click('.notice a');
      await until(page, () => location.search === '' && document.querySelector('.card') !== null);
      await page.goto(server.address + library.small + '/albums/folder:1');
      await until(page, () => /There is nothing at this address/.test(document.querySelector('.notice')?.textContent ?? ''));
      await close(page);
    });

    test('is used with the keyboard alone', async () => {
      const page = await open(browser, library.small + '/albums');
      await page.waitForSelector('.card');
      for (let i = 0; i < 40; i++) {
        await page.keyboard.press('Tab');
        if (await page.evaluate(() => document.activeElement.classList.contains('card'))) break;
      }
      await page.keyboard.press('Enter');
      await until(page, () => location.search === '?in=folder:1');
      await page.goto(server.address + library.small + '/photos');
      await untilTiles(page);
      await page.focus('.tile[tabindex="0"]');
      await page.keyboard.press('Home');
      await page.keyboard.press('ArrowRight');
      await until(page, () => /photo\/2$/.test(document.activeElement.href ?? ''));
      await page.keyboard.press('Enter');
      await untilPhoto(page, 2);
      await page.keyboard.press('i');
      await page.waitForSelector('.info-panel:not([hidden]) .info-title');
      await page.keyboard.press('Escape');
      await untilClosed(page);
      await until(page, () => /photo\/2$/.test(document.activeElement.href ?? ''));
      await close(page);
    });
  });
}

const wanted = process.env.PAGE_BROWSER ?? '';
const hasChromium = wanted !== 'firefox';
if (hasChromium) inEveryBrowser('chromium');
if (wanted !== 'chromium') inEveryBrowser('firefox');

// What needs emulation that Firefox does not have, or what no browser does differently.
describe('chromium only', { skip: !hasChromium }, () => {
  let browser;
  before(async () => {
    browser = await launch('chromium');
  });
  after(() => browser.close());

  test('a finger swipes to the next photo', async () => {
    const page = await open(browser, library.medium + '/list/all/photo/500', phone);
    await untilPhoto(page, 500);
    await until(page, () => document.querySelector('.pswp--open'));
    await swipe(page, 330, 60, 420);
    await untilPhoto(page, 501);
    await close(page);
  });

  test('the place among a million photos is on the screen of a small phone', async () => {
    const page = await open(browser, library.large + '/list/all/photo/888888', { ...phone, width: 320 }, { language: 'de' });
    await untilPhoto(page, 888888);
    const [left, right, top, below] = await page.evaluate(() => {
      const box = document.querySelector('.pswp__counter').getBoundingClientRect();
      const button = document.querySelector('.pswp__button--close').getBoundingClientRect();
      return [box.left, box.right, box.top, button.top + button.height / 2];
    });
    assert.ok(left >= 0 && right <= 320 && top > below, `${left} to ${right}, from ${top}`);
    await close(page);
  });

  test('two fingers change the size of tiles', async () => {
    const page = await open(browser, library.medium + '/photos', phone);
    await untilTiles(page);
    const columns = () => page.$eval('.canvas', (canvas) => Number(canvas.getAttribute('aria-colcount')));
    const first = await columns();
    await pinch(page, 195, 400, 90, 260);
    await until(page, (old) => Number(document.querySelector('.canvas').getAttribute('aria-colcount')) < old, first);
    const larger = await columns();
    await pinch(page, 195, 400, 260, 90);
    await until(page, (old) => Number(document.querySelector('.canvas').getAttribute('aria-colcount')) > old, larger);
    await close(page);
  });

  test('two fingers zoom a photo, and the large picture is loaded only then', async () => {
    const page = await open(browser, library.medium + '/list/all/photo/500', phone);
    await untilPhoto(page, 500);
    const shows = (kind) => until(page, (wanted) => [...document.querySelectorAll('.pswp__img')].some((p) => (p.currentSrc ?? '').includes(`/${wanted}/500`) && p.naturalWidth > 1), kind);
    await shows('preview');
    const loaded = await page.evaluate(() => performance.getEntriesByType('resource').some((entry) => /\/large\//.test(entry.name)));
    assert.equal(loaded, false);
    await pinch(page, 195, 420, 60, 330);
    await pinch(page, 195, 420, 60, 330);
    await shows('large');
    await close(page);
  });

  test('selected photos and an album are downloaded as zip files after their size is shown', async () => {
    const page = await open(browser, library.small + '/photos');
    await untilTiles(page);
    const ids = await visibleIds(page);
    await page.click('.tool[aria-label="Select"]');
    for (const id of [ids[0], ids[2]]) {
      const { x, y } = await tileCenter(page, id);
      await page.mouse.click(x, y);
    }
    await until(page, () => /2 selected/.test(document.querySelector('.selection').textContent));
    await page.click('.selection .button');
    await page.waitForSelector('dialog a.button');
    const href = await page.$eval('dialog a.button', (link) => link.getAttribute('href'));
    assert.equal(href, `/l/small/zip/photos:${ids[0]},${ids[2]}?what=original`);
    assert.match(await page.$eval('dialog', (dialog) => dialog.textContent), /2 photos in a zip file of 6\.8 MB/);
    await close(page);
  });

  test('says that a list is too large for a zip file', async () => {
    const page = await open(browser, library.medium + '/photos');
    await untilTiles(page);
    await page.click('.tool[aria-label="More"]');
    await page.click('.item');
    await until(page, () => /at most 50,000 photos/.test(document.querySelector('dialog')?.textContent));
    assert.equal(await page.$('dialog a.button'), null);
    await close(page);
  });

  test('a search is downloaded under its words, in one pair of quotation marks', async () => {
    const page = await open(browser, library.medium + '/search/ben', desktop, { language: 'de-DE' });
    await untilTiles(page);
    assert.equal(await page.$eval('h1', (head) => head.textContent), '„ben“');
    await page.click('.tool[aria-label="Mehr"]');
    await page.click('.item');
    await page.waitForSelector('dialog a.button');
    assert.match(await page.$eval('dialog', (dialog) => dialog.textContent), /^„ben“ laden/);
    await close(page);
  });

  test('filters stay in the address', async () => {
    const page = await open(browser, library.medium + '/photos');
    await untilTiles(page);
    const all = await page.$eval('.sub', (sub) => sub.textContent);
    await page.click('.tool[aria-label="Filter"]');
    await page.click('.star:nth-child(4)');
    await until(page, (old) => location.search === '?rating=4' && document.querySelector('.sub').textContent !== old, all);
    await untilTiles(page);
    await page.reload();
    await untilTiles(page);
    assert.match(await page.$eval('.filter-line', (line) => line.textContent), /at least 4 stars/);
    await page.click('.filter-line .plain');
    await until(page, (old) => location.search === '' && document.querySelector('.sub').textContent === old, all);
    await close(page);
  });

  test('several libraries have a card each, one library has none', async () => {
    const page = await open(browser, '/');
    await page.waitForSelector('.library-card');
    assert.equal((await page.$$('.library-card')).length, 3);
    await page.click('.library-card[href="/l/medium/photos"]');
    await untilTiles(page);
    await close(page);
    const other = await open(browser, library.medium + '/search', phone);
    await other.waitForSelector('.entry[href="/"]');
    await other.click('.entry[href="/"]');
    await other.waitForSelector('.library-card');
    await close(other);
  });

  test('a library that is away is said to be so, and comes back by itself', async () => {
    await fetch(server.address + '/mock/state?small=away');
    const page = await open(browser, library.small + '/photos');
    await until(page, () => /The library is away/.test(document.body.textContent));
    await fetch(server.address + '/mock/state?small=ready');
    await untilTiles(page);
    await until(page, () => !/The library is away/.test(document.body.textContent));
    // While the library is away the server does not say what is in it, and the bar stays as it was.
    const entries = () => page.$$eval('.bar li', (all) => all.map((entry) => entry.textContent));
    const before = await entries();
    assert.ok(before.includes('People'));
    await fetch(server.address + '/mock/state?small=away');
    await page.evaluate(() => document.dispatchEvent(new Event('visibilitychange')));
    await until(page, () => /The library is away/.test(document.body.textContent));
    assert.deepEqual(await entries(), before);
    await fetch(server.address + '/mock/state?small=ready');
    await until(page, () => !/The library is away/.test(document.body.textContent));
    await close(page);
  });

  test('covers stay while the library is away', async () => {
    const page = await open(browser, library.small + '/albums');
    const covers = () => page.$$eval('.cover img', (all) => all.map((picture) => picture.src));
    await page.waitForSelector('.cover img');
    const before = await covers();
    await fetch(server.address + '/mock/state?small=away');
    await page.evaluate(() => document.dispatchEvent(new Event('visibilitychange')));
    await until(page, () => /The library is away/.test(document.body.textContent));
    assert.deepEqual(await covers(), before);
    await fetch(server.address + '/mock/state?small=ready');
    await close(page);
  });

  test('what a busy server refused appears by itself, as a search once the index is complete', async () => {
    for (const [path, shown] of [['/search/be', '.tile[href]'], ['/albums', '.card']]) {
      await fetch(server.address + '/mock/state?busy=1');
      const page = await open(browser, library.small + path);
      await until(page, () => /Loading/.test(document.querySelector('.notice')?.textContent));
      await fetch(server.address + '/mock/state?busy=0');
      await page.waitForSelector(shown);
      await close(page);
    }
  });

  for (const language of ['en', 'de'])
    test(`panels stay on a phone's screen: ${language}`, async () => {
      const page = await open(browser, library.small + '/photos', phone, { language });
      await untilTiles(page);
      for (const button of await page.$$('.popover > .tool')) {
        await button.click();
        await page.waitForSelector('.panel');
        const [left, right, width] = await page.$eval('.panel', (panel) => {
          const box = panel.getBoundingClientRect();
          return [box.left, box.right, innerWidth];
        });
        assert.ok(left >= 0 && right <= width, `${left} to ${right} of ${width}`);
        await button.click();
        await until(page, () => !document.querySelector('.panel'));
      }
      await close(page);
    });

  test('the bar marks one view', async () => {
    for (const view of [phone, desktop])
      for (const path of ['/photos', '/list/album:10', '/list/flagged', '/keywords', '/search/be']) {
        const page = await open(browser, library.small + path, view);
        await page.waitForSelector('.bar a[aria-current]');
        const marked = await page.$$eval('.bar a[aria-current]', (all) => {
          const plain = [...document.querySelectorAll('.bar li a')].find((a) => !a.hasAttribute('aria-current'));
          const look = (entry) => getComputedStyle(entry).color + getComputedStyle(entry).backgroundColor;
          return all.filter((entry) => entry.offsetParent && look(entry) !== look(plain)).length;
        });
        assert.equal(marked, 1, path);
        await close(page);
      }
  });

  test('a list that has changed is read again, and the place stays', async () => {
    const page = await open(browser, library.medium + '/photos');
    await untilTiles(page);
    await scrub(page, 0.5);
    await untilTiles(page);
    const ids = await visibleIds(page);
    await fetch(server.address + '/mock/state?medium=2');
    // Pages of the old version are refused from now on.
    await page.keyboard.press('Escape');
    await page.focus('.tile[tabindex="0"]').catch(() => {});
    await scrub(page, 0.2);
    await untilTiles(page);
    const now = await visibleIds(page);
    assert.ok(now[0] < ids[0]);
    assert.ok(now[0] > 10_000);
    await fetch(server.address + '/mock/state?medium=1');
    await close(page);
  });

  test('without a library the page says what to do', async () => {
    await fetch(server.address + '/mock/state?empty=1');
    const page = await open(browser, '/');
    await until(page, () => /Choose one in its window/.test(document.body.textContent));
    await fetch(server.address + '/mock/state?empty=0');
    await close(page);
  });

  test('is dark where the system is', async () => {
    const page = await open(browser, library.small + '/photos', phone, { dark: true });
    await untilTiles(page);
    assert.equal(await page.evaluate(() => getComputedStyle(document.body).backgroundColor), 'rgb(16, 17, 19)');
    await close(page);
  });

  test('every technique that the page needs works here', async () => {
    const page = await open(browser, '/check', phone);
    await page.waitForSelector('body[data-done]');
    const failed = await page.$$eval('li.no', (lines) => lines.map((line) => line.dataset.check));
    assert.deepEqual(failed.filter((name) => name !== 'hevc' && name !== 'heic'), []);
    await close(page);
  });

  test('the first script and style have at most 60 KB on the wire', async () => {
    const { gzipSync } = await import('node:zlib');
    const page = await open(browser, library.small + '/photos');
    await untilTiles(page);
    const names = await page.evaluate(() => performance.getEntriesByType('resource').map((entry) => new URL(entry.name).pathname).filter((path) => path.startsWith('/assets/')));
    let bytes = 0;
    for (const name of new Set(names)) bytes += gzipSync(await readFile(new URL('../../dist' + name, import.meta.url))).length;
    assert.ok(names.length >= 2 && bytes <= 60_000, `${bytes} bytes in ${names}`);
    await close(page);
  });

  const axe = createRequire(import.meta.url).resolve('axe-core/axe.min.js');
  const views = {
    photos: '/photos', selection: '/photos', albums: '/albums', events: '/events', people: '/people', keywords: '/keywords',
    search: '/search', found: '/search/be', album: '/list/album:10', viewer: '/list/all/photo/20',
  };
  for (const [name, path] of Object.entries(views))
    for (const dark of [false, true])
      test(`axe finds nothing in ${name}, ${dark ? 'dark' : 'light'}`, async () => {
        const page = await open(browser, library.small + path, dark ? phone : desktop, { dark });
        await until(page, () => document.querySelector('.tile[href], .card img, .keyword, .entry, .pswp'));
        if (name === 'selection') await page.click('.tool[aria-label="Select"]');
        if (name === 'viewer') {
          await untilPhoto(page, 20);
          await page.keyboard.press('i');
          await page.waitForSelector('.info-panel:not([hidden]) .info-title');
        }
        assert.deepEqual(await findings(page), []);
        await close(page);
      });

  for (const path of ['/', '/login', '/check'])
    test(`axe finds nothing in ${path}`, async () => {
      const page = await open(browser, path);
      await page.waitForSelector('.library-card, #digits, body[data-done]');
      assert.deepEqual(await findings(page), []);
      await close(page);
    });

  async function findings(page) {
    // The page's policy allows no script from elsewhere; the protocol's evaluation is not bound by it.
    await page.evaluate(await readFile(axe, 'utf8'));
    const { violations } = await page.evaluate(() => globalThis.axe.run());
    return violations.map((v) => `${v.id}: ${v.nodes.map((node) => node.html.slice(0, 120)).join(' | ')}`);
  }
});

describe('the key', { skip: !hasChromium }, () => {
  let browser;
  let locked;
  before(async () => {
    browser = await launch('chromium');
    locked = await startMock();
  });
  after(async () => {
    await browser.close();
    locked.stop();
  });

  test('is asked for as six digits, and wrong ones are refused', async () => {
    const page = await newPage(browser, phone);
    await page.goto(locked.address + library.small + '/photos');
    await page.waitForSelector('#digits');
    await page.type('#digits', '111111');
    await until(page, () => /not the digits/.test(document.querySelector('#message').textContent));
    await page.type('#digits', '123456');
    await page.waitForSelector('.library-card');
    await page.goto(locked.address + library.small + '/photos');
    await untilTiles(page);
    await close(page);
  });
});
