// A list of photos on the server: its sections at once, its photos in pages of 1,000 as they are needed.
import { ApiError, getJson, LibraryAddresses, listPath, type ListAnswer, type PageAnswer } from './api';
import type { Section } from './layout';

export const flagMovie = 1;
export const flagFlagged = 2;
export const flagRaw = 4;
export const flagEdited = 8;
export const flagLive = 16;
export const flagMissing = 32;

export interface Photo {
  id: number;
  /** Seconds since 1970 of the photo's own wall clock; null without a date. */
  date: number | null;
  width: number;
  height: number;
  flags: number;
  rating: number;
}

/** A value and differences, as values. A null has no value and is no base for the next one. */
export function fromDeltas(deltas: readonly (number | null)[]): (number | null)[] {
  let value = 0;
  return deltas.map((delta) => (delta === null ? null : (value += delta)));
}

export function sectionsOf(answer: Pick<ListAnswer, 'day' | 'n'>): Section[] {
  return fromDeltas(answer.day).map((day, i) => ({ day, count: answer.n[i] ?? 0 }));
}

/** Columns of one page: five numbers a photo. */
class Page {
  private readonly ids: Float64Array;
  private readonly dates: Float64Array;
  private readonly widths: Uint32Array;
  private readonly heights: Uint32Array;
  private readonly flags: Uint32Array;

  constructor(answer: PageAnswer) {
    this.ids = Float64Array.from(fromDeltas(answer.id), (id) => id ?? 0);
    this.dates = Float64Array.from(fromDeltas(answer.date), (date) => date ?? NaN);
    this.widths = Uint32Array.from(answer.width);
    this.heights = Uint32Array.from(answer.height);
    this.flags = Uint32Array.from(answer.flags);
  }

  photo(i: number): Photo | undefined {
    const id = this.ids[i];
    if (id === undefined) return undefined;
    const date = this.dates[i]!;
    const flags = this.flags[i] ?? 0;
    return {
      id,
      date: Number.isNaN(date) ? null : date,
      width: this.widths[i] || 4,
      height: this.heights[i] || 3,
      flags: flags & 0xff,
      rating: (flags >> 8) & 7,
    };
  }
}

/** Requests that run at a time. A browser opens six connections to a server; the pictures need them as well. */
const concurrentPages = 2;
/** Pages that are kept: 60,000 photos, some two megabytes. */
const keptPages = 60;

export class PhotoList {
  readonly sections: Section[];
  /** Called when a page has arrived. */
  onPage: () => void = () => {};
  /** Called when the server has another version of the list. */
  onStale: () => void = () => {};

  private readonly pages = new Map<number, Page>();
  private readonly loading = new Map<number, Promise<void>>();
  private wanted: number[] = [];
  private readonly abort = new AbortController();

  private constructor(
    private readonly library: LibraryAddresses,
    readonly name: string,
    private readonly filters: URLSearchParams,
    private readonly answer: ListAnswer,
  ) {
    this.sections = sectionsOf(answer);
  }

  static async load(library: LibraryAddresses, name: string, filters: URLSearchParams, signal?: AbortSignal) {
    const answer = await getJson<ListAnswer>(library.api(`list/${listPath(name)}`, filters), signal);
    return new PhotoList(library, name, filters, answer);
  }

  get count(): number {
    return this.answer.count;
  }

  get title(): string {
    return this.answer.title;
  }

  get version(): string {
    return this.answer.version;
  }

  /** Whether its sections are days; else it is in the user's own order. */
  get byDate(): boolean {
    return this.sections.some((section) => section.day !== null);
  }

  /** The photo, if its page has arrived. */
  get(index: number): Photo | undefined {
    const number = Math.floor(index / this.answer.page);
    const page = this.pages.get(number);
    if (!page) return undefined;
    this.pages.delete(number);
    this.pages.set(number, page);
    return page.photo(index - number * this.answer.page);
  }

  /** Requests the pages of these photos, and no longer those that were wanted before and have not begun. */
  want(first: number, last: number): void {
    this.wanted = [];
    const size = this.answer.page;
    const end = Math.floor(Math.min(last, this.count - 1) / size);
    for (let page = Math.floor(Math.max(first, 0) / size); page <= end; page++)
      if (!this.pages.has(page) && !this.loading.has(page)) this.wanted.push(page);
    this.loadNext();
  }

  /** The photo, loaded if need be; undefined if the list has no such index or the server does not answer. */
  async fetch(index: number): Promise<Photo | undefined> {
    if (index < 0 || index >= this.count) return undefined;
    const known = this.get(index);
    if (known) return known;
    await this.loadPage(Math.floor(index / this.answer.page));
    return this.get(index);
  }

  /** Where the photo is in this list; undefined if it is not. */
  async indexOf(id: number): Promise<number | undefined> {
    try {
      const path = `list/${listPath(this.name)}/at/${id}`;
      return (await getJson<{ index: number }>(this.library.api(path, this.query()), this.abort.signal)).index;
    } catch (error) {
      this.noticeStale(error);
      return undefined;
    }
  }

  close(): void {
    this.abort.abort();
    this.onPage = this.onStale = () => {};
  }

  private query(): URLSearchParams {
    const query = new URLSearchParams(this.filters);
    query.set('v', this.version);
    return query;
  }

  private loadNext(): void {
    while (this.loading.size < concurrentPages) {
      const next = this.wanted.shift();
      if (next === undefined) return;
      void this.loadPage(next).then(() => this.loadNext());
    }
  }

  private loadPage(number: number): Promise<void> {
    let running = this.loading.get(number);
    if (!running) {
      running = this.readPage(number).finally(() => this.loading.delete(number));
      this.loading.set(number, running);
    }
    return running;
  }

  private async readPage(number: number): Promise<void> {
    try {
      const path = `list/${listPath(this.name)}/${number}`;
      const answer = await getJson<PageAnswer>(this.library.api(path, this.query()), this.abort.signal);
      this.pages.set(number, new Page(answer));
      for (const oldest of this.pages.keys()) {
        if (this.pages.size <= keptPages) break;
        this.pages.delete(oldest);
      }
      this.onPage();
    } catch (error) {
      this.noticeStale(error);
    }
  }

  private noticeStale(error: unknown): void {
    if (error instanceof ApiError && error.status === 410) this.onStale();
  }
}
