// Measures the page in Chromium with a phone's view and a processor that is 4 times slower.
//
//   node bench.mjs [ADDRESS LIBRARY…]     of a server that asks for no key; without arguments, of the mock server
//
// First tiles: from the request of the page to the first picture, at most 1.5 s for 100,000 and 3 s for 1,000,000 photos.
// Scrolling: frames a second at three speeds, with pictures and without; at least 0.75 of the latter, median of five.
// Heap: at most 20 MB. Ends with status 1 if a bound is missed.
import { launch, newPage, phone, scrub, startMock, until, untilTiles } from './browser/support.mjs';

const speeds = [800, 4000, 12000];
const runs = Number(process.env.BENCH_RUNS ?? 5);
const bounds = { medium: 1500, large: 3000 };
let missed = 0;

function check(name, value, ok, bound) {
  if (!ok) missed++;
  console.log(`${ok ? 'ok    ' : 'MISSED'} ${name}: ${value} (${bound})`);
}

function median(values) {
  return [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
}

async function slowPage(browser, pictures = true) {
  const page = await newPage(browser, phone);
  if (!pictures)
    await page.evaluateOnNewDocument(() => {
      // The same page, but no tile ever loads its picture.
      Object.defineProperty(HTMLImageElement.prototype, 'src', { set() {}, get: () => '' });
    });
  await page.emulateCPUThrottling(4);
  return page;
}

async function firstTile(browser, address) {
  const page = await slowPage(browser);
  await page.goto(address, { waitUntil: 'commit' }).catch(() => page.goto(address));
  await until(page, () => [...document.querySelectorAll('.tile img')].some((img) => img.naturalWidth > 1));
  const time = await page.evaluate(() => {
    const tiles = performance.getEntriesByType('resource').filter((entry) => /\/thumb\//.test(entry.name));
    return Math.min(...tiles.map((entry) => entry.responseEnd).filter((end) => end > 0));
  });
  await page.browserContext().close();
  return time;
}

/** Frames a second while the list scrolls at this speed for two seconds. */
async function scroll(browser, address, speed, pictures) {
  const page = await slowPage(browser, pictures);
  await page.goto(address);
  await until(page, () => document.querySelector('.tile[href]'));
  if (pictures) await untilTiles(page);
  await scrub(page, 0.5);
  if (pictures) await untilTiles(page);
  await page.evaluate(() => {
    globalThis.frames = 0;
    const count = () => {
      globalThis.frames++;
      requestAnimationFrame(count);
    };
    requestAnimationFrame(count);
  });
  const session = await page.createCDPSession();
  const before = await page.evaluate(() => ({ frames, time: performance.now() }));
  await session.send('Input.synthesizeScrollGesture', {
    x: 195, y: 420, yDistance: -speed * 2, speed, gestureSourceType: 'mouse', preventFling: true,
  });
  const after = await page.evaluate(() => ({ frames, time: performance.now() }));
  const { JSHeapUsedSize } = await page.metrics();
  await page.browserContext().close();
  return { fps: ((after.frames - before.frames) / (after.time - before.time)) * 1000, heap: JSHeapUsedSize };
}

const [address, ...names] = process.argv.slice(2);
const mock = address ? undefined : await startMock('--open', '--jpeg');
const server = address ?? mock.address;
const browser = await launch('chromium');
try {
  for (const name of names.length ? names : ['medium', 'large']) {
    const photos = `${server}/l/${name}/photos`;
    const times = [];
    for (let i = 0; i < runs; i++) times.push(await firstTile(browser, photos));
    const bound = bounds[name] ?? bounds.large;
    check(`${name}: first tile`, `${Math.round(median(times))} ms`, median(times) <= bound, `at most ${bound} ms`);
    for (const speed of speeds) {
      const [on, off] = [[], []];
      let heap = 0;
      for (let i = 0; i < runs; i++) {
        const loaded = await scroll(browser, photos, speed, true);
        heap = Math.max(heap, loaded.heap);
        on.push(loaded.fps);
        off.push((await scroll(browser, photos, speed, false)).fps);
      }
      const part = median(on) / median(off);
      check(`${name}: scrolling at ${speed} px/s`, `${median(on).toFixed(0)} of ${median(off).toFixed(0)} frames a second`, part >= 0.75, `${part.toFixed(2)}, at least 0.75`);
      check(`${name}: heap at ${speed} px/s`, `${(heap / 1e6).toFixed(1)} MB`, heap <= 20e6, 'at most 20 MB');
    }
  }
} finally {
  await browser.close();
  mock?.stop();
}
process.exitCode = missed ? 1 : 0;
