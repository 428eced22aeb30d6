// /check: tries on this very browser what the page builds on, and shows ticks. For phones that cannot be tested here.
import { turnsByExif } from './orientation';
import { language, text } from './text';

type Name = keyof typeof text.checks;

function canPlay(type: string): boolean {
  return document.createElement('video').canPlayType(type) !== '';
}

async function scrollsFar(): Promise<boolean> {
  const outer = document.createElement('div');
  outer.className = 'far';
  const inner = document.createElement('div');
  inner.style.height = '2000000px';
  outer.append(inner);
  document.body.append(outer);
  outer.scrollTop = 1_999_000;
  await new Promise((done) => requestAnimationFrame(done));
  const works = Math.abs(outer.scrollTop - 1_999_000) < 2;
  outer.remove();
  return works;
}

/** A HEIC file of a few bytes cannot be a picture, so the browser's own word is taken. */
async function showsHeic(): Promise<boolean> {
  const image = document.createElement('picture');
  const source = document.createElement('source');
  source.type = 'image/heic';
  source.srcset = 'data:image/gif;base64,R0lGODlhAQABAIAAAP///wAAACwAAAAAAQABAAACAkQBADs=';
  const fallback = document.createElement('img');
  image.append(source, fallback);
  document.body.append(image);
  await new Promise((done) => setTimeout(done, 100));
  const works = fallback.currentSrc !== '';
  image.remove();
  return works;
}

function keepsSettings(): boolean {
  try {
    localStorage.setItem('check', '1');
    localStorage.removeItem('check');
    return true;
  } catch {
    return false;
  }
}

const checks: Record<Name, () => boolean | Promise<boolean>> = {
  orientation: turnsByExif,
  scroll: scrollsFar,
  dvh: () => CSS.supports('height', '100dvh'),
  pointer: () => 'PointerEvent' in window,
  gesture: () => 'ongesturechange' in window || 'ontouchstart' in window || matchMedia('(pointer: fine)').matches,
  inset: () => CSS.supports('padding-top', 'env(safe-area-inset-top)'),
  h264: () => canPlay('video/mp4; codecs="avc1.42E01E, mp4a.40.2"'),
  hevc: () => canPlay('video/mp4; codecs="hvc1.1.6.L93.B0"'),
  heic: showsHeic,
  range: () => 'formatRange' in Intl.DateTimeFormat.prototype,
  storage: keepsSettings,
  cookie: () => navigator.cookieEnabled,
  fullscreen: () => document.fullscreenEnabled === true,
  clicks: () => 'download' in HTMLAnchorElement.prototype,
};

async function show(): Promise<void> {
  document.documentElement.lang = language;
  document.title = text.checkTitle;
  document.getElementById('title')!.textContent = text.checkTitle;
  document.getElementById('note')!.textContent = text.checkNote;
  document.getElementById('agent')!.textContent = navigator.userAgent;
  const list = document.getElementById('checks')!;
  for (const [name, check] of Object.entries(checks) as [Name, () => boolean | Promise<boolean>][]) {
    const works = await check();
    const line = document.createElement('li');
    line.className = works ? 'yes' : 'no';
    line.dataset['check'] = name;
    line.textContent = `${works ? '✓' : '✗'} ${text.checks[name]}: ${works ? text.yes : text.no}`;
    list.append(line);
  }
  document.body.dataset['done'] = '1';
}

void show();
