// Draws static/icons/*.png from icon.svg, by Chromium. Run it after the icon has changed: node make-icons.mjs
import { readFile, writeFile } from 'node:fs/promises';
import puppeteer from 'puppeteer-core';

const icons = '../static/icons/';
const svg = (await readFile(icons + 'icon.svg', 'utf8')).replace(/^<\?xml.*\?>/, '');
const browser = await puppeteer.launch({ executablePath: '/usr/bin/chromium', args: ['--no-sandbox', '--disable-dev-shm-usage'] });
const page = await browser.newPage();

async function draw(name, size, part, background) {
  await page.setViewport({ width: size, height: size });
  await page.setContent(
    `<body style="margin:0;background:${background};display:grid;place-items:center;height:${size}px">
     <div style="width:${part * size}px;height:${part * size}px">${svg.replace('<svg ', '<svg style="width:100%;height:100%" ')}</div>`,
  );
  await writeFile(icons + name, await page.screenshot({ omitBackground: background === 'transparent' }));
}

await draw('icon-192.png', 192, 1, 'transparent');
await draw('icon-512.png', 512, 1, 'transparent');
await draw('icon-180.png', 180, 0.8, '#ffffff');
await draw('icon-maskable-512.png', 512, 0.62, '#ffffff');
await browser.close();
