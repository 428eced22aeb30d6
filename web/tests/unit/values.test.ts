import assert from 'node:assert/strict';
import { test } from 'node:test';
import { listPath } from '../../src/api';
import { childrenOf, contentsText, coverPhotos, folderPath, groupByParent, onThisDay } from '../../src/browse';
import { formatBytes, formatDays, formatMonthDay, formatPosition, formatShutter, formatWallClock, formatZone } from '../../src/format';
import { fromDeltas, sectionsOf } from '../../src/photolist';
import { isPage, listAddress, noFilters, parseAddress, placeAddress, withFilters } from '../../src/route';

test('adds up differences, in any order', () => {
  assert.deepEqual(fromDeltas([12061, 17, 2, -5]), [12061, 12078, 12080, 12075]);
  assert.deepEqual(fromDeltas([10, null, 5]), [10, null, 15]);
  assert.deepEqual(fromDeltas([]), []);
});

test('reads sections, also those without a date', () => {
  assert.deepEqual(sectionsOf({ day: [100, 1, null], n: [3, 4, 5] }), [
    { day: 100, count: 3 },
    { day: 101, count: 4 },
    { day: null, count: 5 },
  ]);
});

test('reads the addresses that it writes', () => {
  const filters = { ...noFilters, rating: 3, flagged: true };
  const address = new URL(listAddress('k3jd82ha', 'search:Anna & beach/2009', filters, 345), 'http://x');
  const route = parseAddress(address.pathname, address.search);
  assert.equal(route.place, 'list');
  assert.equal(route.library, 'k3jd82ha');
  assert.equal(route.list, 'search:Anna & beach/2009');
  assert.equal(route.photo, 345);
  assert.deepEqual(route.filters, filters);
  assert.ok(isPage(address.pathname));
});

test('reads addresses of places', () => {
  assert.equal(parseAddress('/', '').place, 'libraries');
  assert.equal(parseAddress('/l/a/', '').list, 'all');
  assert.equal(parseAddress('/l/a/albums', '?in=folder:3').folder, 'folder:3');
  assert.equal(parseAddress('/l/a/search/no%20date', '').list, 'search:no date');
  assert.equal(parseAddress('/l/a/nonsense', '').place, 'unknown');
  assert.equal(parseAddress('/l/a/list', '').place, 'unknown');
  assert.equal(parseAddress('/l/a/albums/folder:4', '').place, 'unknown');
  assert.equal(parseAddress('/l/a/photos/', '').place, 'photos');
  assert.equal(parseAddress('/l/a/list/album:1/photo/x', '').photo, 0);
  assert.equal(parseAddress('/l/a/photos', '?rating=9&stars=-1&label=x').filters.rating, 0);
  assert.equal(parseAddress('/l/%E0%A4%A/photos', '').library, '%E0%A4%A');
});

test('writes addresses with filters where the user is', () => {
  const route = parseAddress('/l/a/photos', '');
  assert.equal(withFilters(route, { ...noFilters, movies: true }), '/l/a/photos?movies=1');
  assert.equal(withFilters(parseAddress('/l/a/search/anna', ''), { ...noFilters, stars: 5 }), '/l/a/search/anna?stars=5');
  assert.equal(withFilters(parseAddress('/l/a/list/album:1/photo/5', ''), noFilters), '/l/a/list/album:1');
  assert.equal(placeAddress('a', 'albums', 'folder:1'), '/l/a/albums?in=folder:1');
  assert.equal(listPath('search:a:b,c/d'), 'search:a:b,c%2Fd');
});

test('leaves files to the browser', () => {
  for (const path of ['/l/a/original/5', '/l/a/zip/all', '/l/a/thumb/1', '/in/KEY', '/login', '/check'])
    assert.equal(isPage(path), false, path);
  for (const path of ['/', '/l/a', '/l/a/', '/l/a/photos', '/l/a/list/all/photo/1', '/l/a/search/x'])
    assert.equal(isPage(path), true, path);
});

test('writes sizes, exposures and positions', () => {
  assert.equal(formatBytes(999), '999 byte');
  assert.equal(formatBytes(3_400_000), '3.4 MB');
  assert.equal(formatBytes(5_250_000_000), '5.3 GB');
  assert.equal(formatShutter(0.004), '1/250 s');
  assert.equal(formatShutter(0.8), '0.8 s');
  assert.equal(formatShutter(2), '2 s');
  assert.equal(formatPosition(-33.8568, 151.2153, 'E'), '33.8568° S, 151.2153° E');
});

test('writes dates of the wall clock, whatever the zone of the browser', () => {
  assert.deepEqual(formatWallClock('2009-07-04T23:22:10').day, 'Saturday, July 4, 2009');
  assert.equal(formatWallClock('nonsense').day, 'nonsense');
  assert.equal(formatDays(14429, 14429), 'Jul 4, 2009');
  assert.match(formatDays(14429, 14431), /^Jul 4\s–\s6, 2009$/);
  assert.equal(formatDays(null, null), '');
  assert.equal(formatMonthDay('02-29'), 'February 29');
  assert.equal(onThisDay(new Date(2026, 6, 4)), 'onthisday:07-04');
});

test('writes time zones without a name as people do', () => {
  assert.equal(formatZone('Europe/Zurich'), 'Europe/Zurich');
  assert.equal(formatZone('GMT-0700'), 'UTC−7');
  assert.equal(formatZone('UTC+05:30'), 'UTC+5:30');
  assert.equal(formatZone('GMT+12'), 'UTC+12');
  assert.equal(formatZone('GMT-0030'), 'UTC−0:30');
  assert.equal(formatZone('GMT+0000'), 'UTC');
  assert.equal(formatZone('GMT'), 'UTC');
  assert.equal(formatZone('GMT+nonsense'), 'GMT+nonsense');
});

const album = (list: string, parent: string, key = 0) => ({ list, kind: 'album', name: list, parent, count: 1, key });
const albums = [album('folder:1', ''), album('album:2', 'folder:1', 20), album('folder:3', 'folder:1'), album('album:4', 'folder:3', 40)];

test('knows what is in a folder', () => {
  assert.deepEqual(childrenOf(albums, 'folder:1').map((a) => a.list), ['album:2', 'folder:3']);
  assert.deepEqual(coverPhotos(albums, 'folder:1'), [20, 40]);
  assert.deepEqual(coverPhotos(albums, 'folder:1', 1), [20]);
  assert.deepEqual(folderPath(albums, 'folder:3'), ['folder:1', 'folder:3']);
});

test('counts what is in a folder by its kind', () => {
  const ofKind = (kind: string) => ({ ...album('x', 'folder:1'), kind });
  assert.equal(contentsText([ofKind('project')]), '1 project');
  assert.equal(contentsText([ofKind('project'), ofKind('project')]), '2 projects');
  assert.equal(contentsText([ofKind('album')]), '1 album');
  assert.equal(contentsText([ofKind('smart'), ofKind('album'), ofKind('other')]), '3 albums');
  assert.equal(contentsText([ofKind('album'), ofKind('folder'), ofKind('project')]), '1 project, 1 folder, 1 album');
  assert.equal(contentsText([ofKind('folder'), ofKind('folder')]), '2 folders');
  assert.equal(contentsText([]), 'Empty');
});

test('survives a circle of folders', () => {
  const circle = [album('folder:1', 'folder:2'), album('folder:2', 'folder:1')];
  assert.equal(folderPath(circle, 'folder:1').length, 64);
  assert.deepEqual(coverPhotos(circle, 'folder:1'), []);
});

test('groups projects by their folder, those without one first', () => {
  const event = (list: string, parent: string) => ({ list, name: list, count: 1, key: 1, parent });
  const groups = groupByParent([event('event:1', 'folder:1'), event('event:2', ''), event('event:3', 'folder:1')]);
  assert.deepEqual(groups.map((g) => [g.parent, g.events.map((e) => e.list)]), [
    ['', ['event:2']],
    ['folder:1', ['event:1', 'event:3']],
  ]);
});
