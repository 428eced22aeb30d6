// A server with made-up libraries of 60, 100,000 and 1,000,000 photos, for work on the page. It speaks docs/web-api.md
// as far as the page needs it; nothing of it is in the product.
//
//   node tests/mock/server.mjs [PORT]      serves ../../dist; key: /in/KEY or the digits 123456; --open: no key;
//                                         --jpeg: thumbnails as JPEG; --pictures=FOLDER: with the pictures in it
//   GET /mock/state?busy=1                 lists and tables are refused as long as that holds
//   GET /mock/state?small=away             sets what libraries "small", "medium" and "large" say
import { createServer } from 'node:http';
import { readFile } from 'node:fs/promises';
import { join, extname, dirname } from 'node:path';
import { fileURLToPath } from 'node:url';
import { execFileSync } from 'node:child_process';
import { existsSync, mkdtempSync, readdirSync, readFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { landscape, portrait } from './pictures.mjs';

const dist = join(dirname(fileURLToPath(import.meta.url)), '../../dist');
const pageSize = 1000;
const names = ['Anna', 'Ben', 'Clara', 'David', 'Emma', 'Felix', 'Greta', 'Hannes', 'Ida', 'Jonas', 'Kati', 'Leo'];
const places = ['Beach', 'Mountains', 'Garden', 'Lake', 'City', 'Birthday', 'Christmas', 'Skiing', 'School', 'Wedding'];

/** A number from 0 to 1 for a seed, always the same. */
function random(seed) {
  let x = (seed + 0x9e3779b9) | 0;
  x = Math.imul(x ^ (x >>> 16), 0x85ebca6b);
  x = Math.imul(x ^ (x >>> 13), 0xc2b2ae35);
  return ((x ^ (x >>> 16)) >>> 0) / 2 ** 32;
}

class MockLibrary {
  constructor(id, name, kind, count, first, last) {
    Object.assign(this, { id, name, kind, count, first, last, state: 'ready', version: '1' });
    const start = Date.UTC(first, 2, 14) / 86400000;
    const end = Date.UTC(last, 10, 2) / 86400000;
    // Days with photos: a third of all, the photos spread unevenly.
    const days = [];
    for (let day = start; day <= end && days.length < count; day++)
      if (random(day) < Math.min(0.35, (count / (end - start)) * 0.4)) days.push(day);
    const weights = days.map((day) => 0.15 + random(day * 7) ** 3 * 4);
    const total = weights.reduce((a, b) => a + b, 0);
    this.days = days;
    this.starts = [0];
    let sum = 0;
    for (const weight of weights) {
      sum += weight;
      this.starts.push(Math.max(this.starts.at(-1), Math.round((sum / total) * count)));
    }
    this.starts[days.length] = count;
    this.dayOf = new Int32Array(count);
    for (let i = 0; i < days.length; i++) this.dayOf.fill(days[i], this.starts[i], this.starts[i + 1]);
  }

  photo(index) {
    const id = index + 1;
    const r = random(id);
    const wide = r < 0.72 || samples.length > 0;
    const movie = random(id * 3) < 0.03;
    const flags =
      (movie ? 1 : 0) | (random(id * 5) < 0.06 ? 2 : 0) | (!movie && random(id * 11) < 0.05 ? 4 : 0) |
      (random(id * 13) < 0.1 ? 8 : 0) | (!movie && random(id * 23) < 0.2 ? 16 : 0) | (Math.max(0, Math.floor(random(id * 17) * 12) - 6) << 8);
    return {
      id,
      date: this.dayOf[index] * 86400 + 28800 + Math.floor(random(id * 19) * 43200),
      width: movie ? 640 : wide ? 4032 : 3024,
      height: movie ? 480 : wide ? 3024 : 4032,
      flags,
    };
  }

  people() {
    return names.map((name, i) => ({
      list: `person:${i + 1}`, name, count: this.indexes(`person:${i + 1}`).length, key: i * 4 + 2, face: 0,
    }));
  }

  albums() {
    const albums = [];
    const add = (list, kind, name, parent) => {
      const indexes = kind === 'folder' ? [] : this.indexes(list);
      albums.push({ list, kind, name, parent, count: indexes.length, key: indexes.length ? indexes[0] + 1 : 0 });
    };
    add('folder:1', 'folder', 'Family', '');
    for (let i = 0; i < 6; i++) add(`album:${i + 10}`, 'album', `${places[i]} ${2003 + i}`, 'folder:1');
    add('folder:2', 'folder', 'Travel', 'folder:1');
    for (let i = 0; i < 3; i++) add(`album:${i + 20}`, 'album', `${places[i + 3]} ${2010 + i}`, 'folder:2');
    add('album:30', 'smart', 'Five stars', '');
    for (let i = 0; i < 9; i++) add(`album:${i + 40}`, 'album', `${places[i]} with a longer name ${i}`, '');
    return albums;
  }

  events() {
    const events = [];
    for (let i = 0; i * 31 < this.days.length && i < 2000; i++) {
      const indexes = this.indexes(`event:${i + 1}`);
      const days = [...new Set(indexes.map((k) => this.dayOf[k]))];
      events.push({
        list: `event:${i + 1}`, name: `${places[i % 10]} ${new Date(days[0] * 864e5).getUTCFullYear()}`,
        count: indexes.length, key: indexes[0] + 1, first: days[0], last: days.at(-1),
        parent: this.kind === 'Aperture' ? `folder:${(i % 2) + 1}` : '',
      });
    }
    return events;
  }

  keywords() {
    const all = places.map((name, i) => ({
      list: `keyword:${i + 1}`, name, parent: i < 3 ? '' : `keyword:${(i % 3) + 1}`,
    }));
    return all.map((keyword) => ({ ...keyword, count: this.indexes(keyword.list).length }));
  }

  /** The photos of a list, as an array or typed array of indexes; undefined: no such list. */
  indexes(list) {
    const [kind, rest = ''] = list.split(/:(.*)/s);
    const number = Number(rest);
    const limit = Math.min(this.count, 20000);
    const some = (seed, part) => {
      const result = [];
      for (let i = 0; i < limit; i++) if (random(i * 31 + seed) < part) result.push(i);
      return result;
    };
    switch (kind) {
      case 'all': return Int32Array.from({ length: this.count }, (_, i) => i);
      case 'person': return some(number * 101, 0.06);
      case 'keyword': return some(number * 211, 0.05);
      case 'album': return some(number * 307, 0.02).sort((a, b) => random(a) - random(b));
      case 'folder': return some(number * 401, 0.1);
      case 'event': {
        const from = this.starts[(number - 1) * 31];
        const to = this.starts[Math.min(number * 31, this.days.length)];
        return from === undefined ? undefined : Array.from({ length: Math.max(1, to - from) }, (_, i) => from + i);
      }
      case 'flagged': return some(0, 1).filter((i) => this.photo(i).flags & 2);
      case 'movies': return some(0, 1).filter((i) => this.photo(i).flags & 1);
      case 'onthisday': return some(0, 1).filter((i) => new Date(this.dayOf[i] * 864e5).toISOString().slice(5, 10) === rest);
      case 'search': return /nothing/.test(rest) ? [] : some(rest.length * 53, 0.04);
      case 'photos': return rest.split(',').map((id) => Number(id) - 1);
      default: return undefined;
    }
  }

  list(name, query) {
    let indexes = this.indexes(name);
    if (!indexes) return undefined;
    const flagged = query.get('flagged') === '1';
    const movies = query.get('movies') === '1';
    const rating = Number(query.get('rating') ?? 0);
    const stars = Number(query.get('stars') ?? 0);
    if (flagged || movies || rating || stars)
      indexes = Array.from(indexes).filter((i) => {
        const { flags } = this.photo(i);
        const own = flags >> 8;
        return (!flagged || flags & 2) && (!movies || flags & 1) && own >= rating && (!stars || own === stars);
      });
    if (query.get('order') === 'new') indexes = indexes.slice().reverse();
    return indexes;
  }

  sections(name, indexes) {
    if (/^(album|photos):/.test(name)) return { day: [null], n: [indexes.length] };
    const day = [];
    const n = [];
    let last;
    let previous = 0;
    for (const index of indexes) {
      const own = this.dayOf[index];
      if (own !== last) {
        day.push(own - previous);
        n.push(0);
        previous = last = own;
      }
      n[n.length - 1]++;
    }
    return { day, n };
  }
}

const libraries = [
  new MockLibrary('small', 'iPhoto Library', 'iPhoto', 60, 2008, 2011),
  new MockLibrary('medium', 'Family 1998–2014', 'Aperture', 100000, 1998, 2014),
  new MockLibrary('large', 'Everything', 'Photos', 1000000, 1990, 2024),
];

function deltas(values) {
  let last = 0;
  return values.map((value) => {
    const delta = value - last;
    last = value;
    return delta;
  });
}

function titleOf(library, list) {
  const named = [...library.albums(), ...library.people(), ...library.keywords()].find((x) => x.list === list);
  return named?.name ?? (list.startsWith('event:') ? `Event ${list.slice(6)}` : '');
}

const movieFile = (() => {
  const folder = mkdtempSync(join(tmpdir(), 'mock-movie-'));
  const file = join(folder, 'movie.mp4');
  try {
    execFileSync('ffmpeg', ['-loglevel', 'error', '-f', 'lavfi', '-i', 'testsrc2=size=640x480:rate=25:duration=6',
      '-c:v', 'libx264', '-pix_fmt', 'yuv420p', '-movflags', '+faststart', file]);
  } catch {
    return undefined;
  }
  return existsSync(file) ? file : undefined;
})();

/** With --jpeg: thumbnails as libraries have them. Browsers need far more time for an SVG. */
const jpegs = (() => {
  if (!process.argv.includes('--jpeg')) return [];
  const folder = mkdtempSync(join(tmpdir(), 'mock-thumbs-'));
  execFileSync('ffmpeg', ['-loglevel', 'error', '-f', 'lavfi', '-i', 'gradients=s=360x270:rate=24:duration=1:speed=0.2,noise=alls=12',
    '-q:v', '4', join(folder, '%d.jpg')]);
  return Array.from({ length: 24 }, (_, i) => readFileSync(join(folder, `${i + 1}.jpg`)));
})();
/** With --pictures=FOLDER: the pictures in it, in place of made-up ones; all of them wide. */
const samples = (() => {
  const folder = process.argv.find((argument) => argument.startsWith('--pictures='))?.slice(11);
  if (!folder) return [];
  return readdirSync(folder).filter((name) => name.endsWith('.jpg')).sort().map((name) => join(folder, name));
})();
const conversions = new Map();

function movieState(library, id, start) {
  const url = `/l/${library.id}/movie/${id}.mp4?s=x`;
  if (id % 2 === 0) return { state: 'ready', url };
  const done = conversions.get(id);
  if (done === undefined && !start) return { state: 'none' };
  conversions.set(id, (done ?? -40) + 40);
  const percent = conversions.get(id);
  return percent >= 100 ? { state: 'ready', url } : { state: 'converting', percent };
}

function facts(library, id) {
  const photo = library.photo(id - 1);
  const movie = photo.flags & 1;
  const when = new Date(photo.date * 1000).toISOString().slice(0, 19);
  const people = library.people().filter((_, i) => random(id * 97 + i) < 0.15).slice(0, 3);
  return {
    id, title: `${places[id % 10]} ${id}`,
    ...(id % 3 ? {} : { caption: 'The first day at the sea, with sand in every shoe and ice cream before lunch.' }),
    file: movie ? `MVI_${id}.AVI` : `IMG_${id}.JPG`, bytes: 3_400_000 + id, kind: movie ? 'movie' : photo.flags & 4 ? 'raw' : 'photo',
    date: when, zone: 'Europe/Berlin', width: photo.width, height: photo.height, flagged: !!(photo.flags & 2),
    rating: photo.flags >> 8, ...(id % 7 ? {} : { label: (id % 6) + 1 }),
    keywords: [{ list: 'keyword:1', name: 'Beach' }], event: { list: 'event:1', name: 'Event 1' },
    people: people.map((p, i) => ({ list: p.list, name: p.name, face: i, rect: [0.2 + i * 0.22, 0.3, 0.14, 0.18] })),
    albums: [{ list: 'album:10', name: 'Beach 2003' }, { list: 'album:11', name: 'Mountains 2004' }],
    ...(movie ? {} : { camera: { make: 'Canon', model: 'Canon EOS 5D', lens: 'EF 24-105mm', aperture: 5.6, shutter: 0.004, iso: 200, focal: 35 } }),
    position: [47.3712, 8.541, 408], place: 'Zürich, Switzerland', edited: !!(photo.flags & 8),
    original: { name: `IMG_${id}.JPG`, bytes: 3_400_000 + id, type: 'image/jpeg' },
    ...(movie ? { movie: { url: `/l/${library.id}/movie/${id}.mp4?s=x`, state: id % 2 === 0 ? 'ready' : 'convert' } } : {}),
    ...(photo.flags & 16 ? { live: { url: `/l/${library.id}/movie/${id}.mp4?s=x`, state: 'ready' } } : {}),
  };
}

function answer(library, path, query) {
  const [what, list, more, id] = path;
  const version = library.version;
  switch (what) {
    case 'library':
      if (library.state !== 'ready') return { id: library.id, name: library.name, kind: library.kind, state: library.state, version: 'away' };
      return { id: library.id, name: library.name, kind: library.kind, state: library.state, version, photos: library.count, movies: 3, rejected: 0,
        events: library.kind === 'Aperture' ? 'projects' : 'events', people: true, keywords: true, search: library.id === 'large' ? 'building' : 'ready', searchDone: 43 };
    case 'albums': return { version, albums: library.albums() };
    case 'events': return { version, events: library.events() };
    case 'people': return { version, people: library.people() };
    case 'keywords': return { version, keywords: library.keywords() };
    case 'suggest': {
      const word = (query.get('q') ?? '').toLowerCase();
      const lists = [...library.people().map((p) => ({ ...p, kind: 'person' })), ...library.albums(), ...library.keywords().map((k) => ({ ...k, kind: 'keyword' }))];
      return { lists: lists.filter((l) => l.name.toLowerCase().includes(word)).slice(0, 12).map(({ list, name, kind, count }) => ({ list, name, kind, count })) };
    }
    case 'photo': return Number(list) >= 1 && Number(list) <= library.count ? facts(library, Number(list)) : 404;
    case 'movie': return movieState(library, Number(list), query.get('start') === '1');
    case 'zip': {
      const indexes = library.list(list, query);
      if (indexes?.length > 50_000) return 413;
      return indexes ? { count: indexes.length, bytes: indexes.length * 3_400_000, name: 'photos.zip' } : 404;
    }
    case 'list': break;
    default: return 404;
  }
  const indexes = library.list(list, query);
  if (!indexes) return 404;
  if (more === undefined)
    return { list, title: titleOf(library, list), count: indexes.length, page: pageSize, version, ...library.sections(list, indexes) };
  if (query.get('v') !== version) return 410;
  if (more === 'at') {
    const index = indexes.indexOf(Number(id) - 1);
    return index < 0 ? 404 : { index };
  }
  const photos = Array.from(indexes.slice(more * pageSize, (Number(more) + 1) * pageSize), (i) => library.photo(i));
  const column = (name) => photos.map((photo) => photo[name]);
  return { id: deltas(column('id')), date: deltas(column('date')), width: column('width'), height: column('height'), flags: column('flags') };
}

const types = { '.html': 'text/html; charset=utf-8', '.js': 'text/javascript', '.css': 'text/css', '.svg': 'image/svg+xml', '.png': 'image/png', '.webmanifest': 'application/manifest+json' };
const policy = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; media-src 'self'; connect-src 'self'; manifest-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'";

async function sendFile(response, name, status = 200) {
  try {
    const data = await readFile(join(dist, name));
    response.writeHead(status, { 'Content-Type': types[extname(name)] ?? 'application/octet-stream', 'Content-Security-Policy': policy,
      'Cache-Control': name.startsWith('/assets') ? 'max-age=31536000, immutable' : 'no-cache' });
    response.end(data);
  } catch {
    sendJson(response, 404, { error: 'unknown' });
  }
}

function sendJson(response, status, value) {
  response.writeHead(status, { 'Content-Type': 'application/json' });
  response.end(JSON.stringify(value));
}

function sendPicture(response, picture, type = 'image/svg+xml') {
  response.writeHead(200, { 'Content-Type': type, 'Cache-Control': 'private, max-age=31536000, immutable' });
  response.end(picture);
}

async function sendMovie(request, response) {
  if (!movieFile) return sendJson(response, 404, { error: 'unknown' });
  const data = await readFile(movieFile);
  const range = /^bytes=(\d+)-(\d*)$/.exec(request.headers.range ?? '');
  const from = range ? Number(range[1]) : 0;
  const to = range && range[2] ? Math.min(Number(range[2]), data.length - 1) : data.length - 1;
  response.writeHead(range ? 206 : 200, { 'Content-Type': 'video/mp4', 'Accept-Ranges': 'bytes', 'Content-Length': to - from + 1,
    ...(range ? { 'Content-Range': `bytes ${from}-${to}/${data.length}` } : {}) });
  response.end(data.subarray(from, to + 1));
}

const isOpen = process.argv.includes('--open');
let isEmpty = false;
let isBusy = false;

async function handle(request, response) {
  const address = new URL(request.url, 'http://localhost');
  const path = decodeURIComponent(address.pathname);
  const hasKey = isOpen || (request.headers.cookie ?? '').includes('key=yes');
  if (path === '/mock/state') {
    for (const [name, value] of address.searchParams) {
      if (name === 'empty') isEmpty = value === '1';
      if (name === 'busy') isBusy = value === '1';
      const library = libraries.find((candidate) => candidate.id === name);
      if (library && /^\d+$/.test(value)) library.version = value;
      else if (library) library.state = value;
    }
    return sendJson(response, 200, {});
  }
  if (path.startsWith('/assets/') || path.startsWith('/icons/') || path === '/manifest.webmanifest') return sendFile(response, path);
  if (path === '/check') return sendFile(response, '/check.html');
  if (path === '/login' && request.method === 'POST') {
    let body = '';
    for await (const part of request) body += part;
    if (new URLSearchParams(body).get('digits') !== '123456') return sendFile(response, '/login.html', 403);
    response.writeHead(303, { Location: '/', 'Set-Cookie': 'key=yes; Path=/; HttpOnly; SameSite=Lax' });
    return response.end();
  }
  if (path === '/login') return sendFile(response, '/login.html');
  const [, l, id, ...rest] = path.split('/');
  if (!hasKey) {
    if (rest[0] === 'api' || path.startsWith('/api')) return sendJson(response, 401, { error: 'key' });
    response.writeHead(303, { Location: '/login' });
    return response.end();
  }
  if (path === '/api/1/libraries')
    return sendJson(response, 200, { server: 'Study', libraries: isEmpty ? [] : libraries.map((x) => ({ id: x.id, name: x.name, kind: x.kind, first: x.first, last: x.last, photos: x.count, state: x.state, served: x.id === 'small' })) });
  const library = l === 'l' ? libraries.find((x) => x.id === id) : undefined;
  if (l === 'l' && !library) return rest[0] === 'api' ? sendJson(response, 404, { error: 'unknown' }) : sendFile(response, '/index.html');
  if (library && rest[0] === 'api') {
    if (library.state === 'away' && rest[2] !== 'library') return sendJson(response, 503, { error: 'away' });
    if (isBusy && rest[2] !== 'library') return sendJson(response, 503, { error: 'busy' });
    const result = answer(library, rest.slice(2), address.searchParams);
    return typeof result === 'number' ? sendJson(response, result, { error: result === 410 ? 'version' : 'unknown' }) : sendJson(response, 200, result);
  }
  if (library && ['thumb', 'square', 'preview', 'large'].includes(rest[0])) {
    const photo = library.photo(Number(rest[1]) - 1);
    if (samples.length) return sendPicture(response, await readFile(samples[photo.id % samples.length]), 'image/jpeg');
    if (jpegs.length && rest[0] === 'thumb') return sendPicture(response, jpegs[photo.id % jpegs.length], 'image/jpeg');
    return sendPicture(response, landscape(photo.id, photo.width, photo.height, { thumb: 360, square: 200, preview: 2048, large: 4096 }[rest[0]]));
  }
  if (library && rest[0] === 'face') return sendPicture(response, portrait(Number(rest[1])));
  if (library && rest[0] === 'movie') return sendMovie(request, response);
  if (library && ['original', 'edited', 'zip'].includes(rest[0])) {
    response.writeHead(200, { 'Content-Type': 'application/octet-stream', 'Content-Disposition': 'attachment; filename="download.bin"' });
    return response.end('mock');
  }
  return sendFile(response, '/index.html');
}

const port = Number(process.argv.find((argument) => /^\d+$/.test(argument)) ?? 4400);
const server = createServer((request, response) => handle(request, response).catch(() => response.destroy()));
server.listen(port, '127.0.0.1', () => console.log(`http://127.0.0.1:${server.address().port}/`));
