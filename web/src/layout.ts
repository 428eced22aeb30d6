// Arithmetic of the grid: where each section, row and photo is, in CSS pixels from the top of the whole list. Knows
// nothing of the browser.

/** Browsers lose what is beyond their limit (Firefox: 17.8 million pixels), so the scrolled element is never higher. */
export const maxScrollHeight = 2_000_000;

/** A row on the screen: the heading of a section, or up to `columns` photos. */
export interface Row {
  /** Number of the row in the whole list, headings included. */
  number: number;
  y: number;
  height: number;
  section: number;
  heading: boolean;
  /** Index of the first photo, and the number of photos; a heading has none. */
  first: number;
  count: number;
}

export class GridLayout {
  /** Top of each section, its first photo and its first row; one more entry each for the end of the list. */
  private readonly tops: Float64Array;
  private readonly firsts: Float64Array;
  private readonly rows: Float64Array;

  /**
   * @param counts photos in each section
   * @param columns photos in a row
   * @param pitch height of a row of photos, with its gap
   * @param heading height of a section's heading; 0: sections have no headings
   */
  constructor(
    counts: readonly number[],
    readonly columns: number,
    readonly pitch: number,
    readonly heading: number,
  ) {
    const n = counts.length;
    this.tops = new Float64Array(n + 1);
    this.firsts = new Float64Array(n + 1);
    this.rows = new Float64Array(n + 1);
    const headingRows = heading > 0 ? 1 : 0;
    for (let i = 0; i < n; i++) {
      const count = counts[i]!;
      const photoRows = Math.ceil(count / columns);
      this.tops[i + 1] = this.tops[i]! + heading + photoRows * pitch;
      this.firsts[i + 1] = this.firsts[i]! + count;
      this.rows[i + 1] = this.rows[i]! + headingRows + photoRows;
    }
  }

  get sections(): number {
    return this.tops.length - 1;
  }

  get height(): number {
    return this.tops[this.sections]!;
  }

  get count(): number {
    return this.firsts[this.sections]!;
  }

  get rowCount(): number {
    return this.rows[this.sections]!;
  }

  sectionTop(section: number): number {
    return this.tops[section]!;
  }

  sectionFirst(section: number): number {
    return this.firsts[section]!;
  }

  /** The section at this height; the first or last one outside of the list. */
  sectionAt(y: number): number {
    return search(this.tops, y);
  }

  sectionOf(index: number): number {
    return search(this.firsts, index);
  }

  /** Top of the row that has this photo. */
  yOf(index: number): number {
    const section = this.sectionOf(index);
    const row = Math.floor((index - this.firsts[section]!) / this.columns);
    return this.tops[section]! + this.heading + row * this.pitch;
  }

  /** The first photo of the row at this height; of a heading, the one below it. */
  indexAt(y: number): number {
    if (this.count === 0) return 0;
    const section = this.sectionAt(y);
    const first = this.firsts[section]!;
    const row = Math.max(0, Math.floor((y - this.tops[section]! - this.heading) / this.pitch));
    return Math.min(first + row * this.columns, this.firsts[section + 1]! - 1);
  }

  /** The rows that touch the band between two heights, from top to bottom. */
  rowsBetween(from: number, to: number): Row[] {
    const result: Row[] = [];
    if (this.count === 0) return result;
    for (let section = this.sectionAt(from); section < this.sections && this.tops[section]! < to; section++)
      this.addRows(section, from, to, result);
    return result;
  }

  private addRows(section: number, from: number, to: number, result: Row[]): void {
    const top = this.tops[section]!;
    let number = this.rows[section]!;
    if (this.heading > 0) {
      if (top + this.heading > from)
        result.push({ number, y: top, height: this.heading, section, heading: true, first: 0, count: 0 });
      number++;
    }
    const start = this.firsts[section]!;
    const end = this.firsts[section + 1]!;
    const skipped = Math.max(0, Math.floor((from - top - this.heading) / this.pitch));
    for (let row = skipped; start + row * this.columns < end; row++) {
      const y = top + this.heading + row * this.pitch;
      if (y >= to) return;
      const first = start + row * this.columns;
      const count = Math.min(this.columns, end - first);
      result.push({ number: number + row, y, height: this.pitch, section, heading: false, first, count });
    }
  }

  /** The photo `rows` rows below (above, if negative) another one, in about the same column; at the ends, itself. */
  indexBelow(index: number, rows: number): number {
    const section = this.sectionOf(index);
    const column = (index - this.firsts[section]!) % this.columns;
    let y = this.yOf(index);
    for (let i = 0; i < Math.abs(rows); i++) {
      const next = rows > 0 ? this.rowBelow(y) : this.rowAbove(y);
      if (next === undefined) break;
      y = next;
    }
    const first = this.indexAt(y);
    const last = Math.min(first + this.columns, this.firsts[this.sectionOf(first) + 1]!) - 1;
    return Math.min(first + column, last);
  }

  private rowBelow(y: number): number | undefined {
    const next = y + this.pitch;
    if (next >= this.height) return undefined;
    return this.yOf(this.indexAt(next));
  }

  private rowAbove(y: number): number | undefined {
    const section = this.sectionAt(y);
    if (y > this.tops[section]! + this.heading) return y - this.pitch;
    return section === 0 ? undefined : this.tops[section]! - this.pitch;
  }
}

/** The last entry i with values[i] <= wanted, but never the closing one nor one before the first. */
function search(values: Float64Array, wanted: number): number {
  let low = 0;
  let high = values.length - 2;
  while (low < high) {
    const middle = (low + high + 1) >> 1;
    if (values[middle]! <= wanted) low = middle;
    else high = middle - 1;
  }
  return Math.max(low, 0);
}

// The window: y = base + scrollTop.

/** Distance from an end of the window at which it is moved once scrolling rests. */
const margin = maxScrollHeight / 10;

/** The base with which this height lies in the middle of the window. */
export function baseFor(y: number, height: number): number {
  const highest = Math.max(0, height - maxScrollHeight);
  return Math.round(Math.min(Math.max(0, y - maxScrollHeight / 2), highest));
}

/** Whether the window's end is near, and the list goes on beyond it. */
export function mustMove(base: number, scrollTop: number, viewport: number, height: number): boolean {
  if (scrollTop < margin && base > 0) return true;
  return scrollTop + viewport > maxScrollHeight - margin && base + maxScrollHeight < height;
}

// Sizes of the tiles.

/** Widths that are aimed at, from the smallest tiles to the largest ones. */
const widths = [34, 56, 88, 120, 170, 260, 400];
export const defaultSize = 3;
export const largestSize = widths.length - 1;

export interface Tiles {
  columns: number;
  /** Width and height of a tile, in whole or half pixels; the rest of the row's width goes to the last column. */
  size: number;
  gap: number;
}

/** Tiles of this size that fill the width. */
export function tilesFor(width: number, size: number): Tiles {
  const wide = width >= 700 ? 1.35 : 1;
  const gap = size <= 1 ? 1 : width >= 700 ? 4 : 2;
  const columns = Math.max(1, Math.round((width + gap) / (widths[size]! * wide + gap)));
  return { columns, size: (width - (columns - 1) * gap) / columns, gap };
}

/** Whether tiles of this size are so small that days have less than a row: sections are months then. */
export function byMonth(size: number): boolean {
  return size <= 1;
}

/** A section on the screen: its first day (days since 1970-01-01, null without a date) and its number of photos. */
export interface Section {
  day: number | null;
  count: number;
}

/** Joins the days of a month. */
export function joinMonths(sections: readonly Section[]): Section[] {
  const result: Section[] = [];
  let month: number | undefined;
  for (const section of sections) {
    const own = section.day === null ? NaN : monthOf(section.day);
    const last = result[result.length - 1];
    if (last && own === month) last.count += section.count;
    else result.push({ ...section });
    month = own;
  }
  return result;
}

export function monthOf(day: number): number {
  const date = new Date(day * 86_400_000);
  return date.getUTCFullYear() * 12 + date.getUTCMonth();
}

export function yearOf(day: number): number {
  return new Date(day * 86_400_000).getUTCFullYear();
}

/** The years of a list for the scrubber: each with the height at which it begins, in the order of the list. */
export function yearMarks(sections: readonly Section[], layout: GridLayout): { year: number; y: number }[] {
  const marks: { year: number; y: number }[] = [];
  sections.forEach((section, i) => {
    if (section.day === null) return;
    const year = yearOf(section.day);
    if (marks[marks.length - 1]?.year !== year) marks.push({ year, y: layout.sectionTop(i) });
  });
  return marks;
}

/** Of the marks, as many as fit: at least `distance` pixels apart on a bar of this length. */
export function marksThatFit<T extends { y: number }>(
  marks: readonly T[],
  height: number,
  bar: number,
  distance: number,
): T[] {
  const result: T[] = [];
  let last = -Infinity;
  for (const mark of marks) {
    const at = (mark.y / Math.max(height, 1)) * bar;
    if (at - last < distance) continue;
    result.push(mark);
    last = at;
  }
  return result;
}
