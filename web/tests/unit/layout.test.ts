import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  baseFor,
  GridLayout,
  joinMonths,
  marksThatFit,
  maxScrollHeight,
  mustMove,
  tilesFor,
  yearMarks,
} from '../../src/layout';

// Three sections of 5, 1 and 4 photos, 3 in a row, rows of 100 pixels below headings of 40.
const layout = new GridLayout([5, 1, 4], 3, 100, 40);

test('adds up headings and rows', () => {
  assert.equal(layout.height, 40 + 200 + 40 + 100 + 40 + 200);
  assert.equal(layout.count, 10);
  assert.equal(layout.rowCount, 8);
  assert.equal(layout.sectionTop(1), 240);
  assert.equal(layout.sectionFirst(2), 6);
});

test('finds the section at a height, also outside of the list', () => {
  assert.deepEqual([-50, 0, 239, 240, 379, 380, 99999].map((y) => layout.sectionAt(y)), [0, 0, 0, 1, 1, 2, 2]);
});

test('finds photos and heights in both directions', () => {
  assert.deepEqual([0, 2, 3, 5, 6, 9].map((i) => layout.yOf(i)), [40, 40, 140, 280, 420, 520]);
  assert.deepEqual([0, 40, 139, 140, 260, 300, 530].map((y) => layout.indexAt(y)), [0, 0, 0, 3, 5, 5, 9]);
  for (let i = 0; i < 10; i++) assert.ok(layout.indexAt(layout.yOf(i)) <= i);
});

test('lists the rows that touch a band, in order and without gaps', () => {
  const rows = layout.rowsBetween(-10, 10_000);
  assert.deepEqual(rows.map((row) => row.number), [0, 1, 2, 3, 4, 5, 6, 7]);
  assert.deepEqual(rows.filter((row) => !row.heading).map((row) => [row.first, row.count]), [[0, 3], [3, 2], [5, 1], [6, 3], [9, 1]]);
  for (let i = 1; i < rows.length; i++) assert.equal(rows[i]!.y, rows[i - 1]!.y + rows[i - 1]!.height);
  const middle = layout.rowsBetween(141, 281);
  assert.deepEqual(middle.map((row) => row.number), [2, 3, 4]);
});

test('lists the last rows of a million photos', () => {
  const counts = Array.from({ length: 5000 }, () => 200);
  const large = new GridLayout(counts, 4, 98, 44);
  const rows = large.rowsBetween(large.height - 300, large.height + 100);
  const last = rows[rows.length - 1]!;
  assert.equal(last.first + last.count, 1_000_000);
  assert.equal(last.y + last.height, large.height);
  assert.equal(last.number + 1, large.rowCount);
});

test('has no rows without photos', () => {
  const empty = new GridLayout([], 3, 100, 40);
  assert.deepEqual(empty.rowsBetween(0, 1000), []);
  assert.equal(empty.indexAt(50), 0);
});

test('moves the focus by rows across headings and stays at the ends', () => {
  assert.equal(layout.indexBelow(1, 1), 4);
  assert.equal(layout.indexBelow(4, 1), 5);
  assert.equal(layout.indexBelow(5, 1), 6);
  assert.equal(layout.indexBelow(8, 1), 9);
  assert.equal(layout.indexBelow(9, 1), 9);
  assert.equal(layout.indexBelow(6, -1), 5);
  assert.equal(layout.indexBelow(1, -1), 1);
  assert.equal(layout.indexBelow(0, 3), 6);
});

test('keeps every height of a long list within the window', () => {
  const height = 24_800_000;
  for (let y = 0; y <= height; y += 123_457) {
    const base = baseFor(y, height);
    assert.ok(base >= 0 && y - base >= 0 && y - base <= maxScrollHeight, `${y}`);
    assert.ok(base + maxScrollHeight <= height);
    assert.ok(!mustMove(base, y - base, 800, height), `${y} needs no further move`);
  }
});

test('moves the window near its ends only, and never a short list', () => {
  assert.equal(mustMove(1_000_000, 100, 800, 10_000_000), true);
  assert.equal(mustMove(0, 100, 800, 10_000_000), false);
  assert.equal(mustMove(1_000_000, maxScrollHeight - 900, 800, 10_000_000), true);
  assert.equal(mustMove(8_000_000, maxScrollHeight - 900, 800, 10_000_000), false);
  assert.equal(mustMove(0, 500, 800, 5000), false);
  assert.equal(baseFor(4000, 5000), 0);
});

test('fills the width with tiles', () => {
  for (const width of [320, 390, 820, 1440])
    for (let size = 0; size < 7; size++) {
      const tiles = tilesFor(width, size);
      const used = tiles.columns * tiles.size + (tiles.columns - 1) * tiles.gap;
      assert.ok(Math.abs(used - width) < 0.001);
      assert.ok(tiles.columns >= 1);
    }
});

test('joins days to months, also backwards and without dates', () => {
  const day = (text: string) => Date.parse(text) / 86_400_000;
  const sections = [
    { day: day('2009-07-30'), count: 2 },
    { day: day('2009-07-31'), count: 3 },
    { day: day('2009-08-01'), count: 4 },
    { day: null, count: 5 },
  ];
  assert.deepEqual(joinMonths(sections).map((s) => s.count), [5, 4, 5]);
  assert.deepEqual(joinMonths([...sections].reverse()).map((s) => s.count), [5, 4, 5]);
  assert.deepEqual(sections.map((s) => s.count), [2, 3, 4, 5]);
});

test('marks the years that fit', () => {
  const day = (text: string) => Date.parse(text) / 86_400_000;
  const sections = ['1998-01-05', '1998-06-01', '1999-01-01', '2000-02-02'].map((d) => ({ day: day(d), count: 3 }));
  const years = new GridLayout([3, 3, 3, 3], 3, 100, 40);
  const marks = yearMarks(sections, years);
  assert.deepEqual(marks, [
    { year: 1998, y: 0 },
    { year: 1999, y: 280 },
    { year: 2000, y: 420 },
  ]);
  assert.deepEqual(marksThatFit(marks, 560, 100, 40).map((mark) => mark.year), [1998, 1999]);
});
