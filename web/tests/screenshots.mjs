// Takes the screenshots of the documents, of the mock server with pictures of a sample library:
//
//   moxtel-make-library /tmp/sample --photos 160 && mkdir /tmp/pictures    then copy wide ones of its *_1024.jpg there
//   node screenshots.mjs /tmp/pictures ../../docs/images
import { join } from 'node:path';
import { launch, newPage, phone, startMock, untilPhoto, untilTiles } from './browser/support.mjs';

const [pictures, folder] = process.argv.slice(2);
const views = { phone: { ...phone, deviceScaleFactor: 2 }, desktop: { width: 1180, height: 740, deviceScaleFactor: 1 } };
const server = await startMock('--open', `--pictures=${pictures}`);
const browser = await launch('chromium');

async function shoot(name, view, path, { dark = false, prepare = async () => {} } = {}) {
  const page = await newPage(browser, views[view], { dark });
  await page.goto(server.address + path);
  await page.waitForSelector('.tile[href], .card img, .viewer');
  await prepare(page);
  await page.waitForNetworkIdle({ idleTime: 800 });
  await page.screenshot({ path: join(folder, `${name}.jpg`), type: 'jpeg', quality: 72 });
  await page.browserContext().close();
}

await shoot('page-photos', 'desktop', '/l/medium/photos', {
  prepare: async (page) => {
    await untilTiles(page);
    await page.$eval('.scroller', (scroller) => (scroller.scrollTop -= 900));
    await untilTiles(page);
  },
});
await shoot('page-phone', 'phone', '/l/medium/photos', { dark: true, prepare: untilTiles });
await shoot('page-albums', 'phone', '/l/medium/albums');
await shoot('page-viewer', 'desktop', '/l/medium/list/all/photo/501', {
  prepare: async (page) => {
    await untilPhoto(page, 501);
    await page.keyboard.press('i');
    await page.waitForSelector('.info-title');
  },
});
await browser.close();
server.stop();
