// The server's answers, and the addresses of what it serves. docs/web-api.md describes them.

export interface LibraryCard {
  id: string;
  name: string;
  kind: string;
  first?: number;
  last?: number;
  photos?: number;
  state: 'ready' | 'away' | 'unreadable';
  served?: boolean;
}

export interface Libraries {
  server: string;
  libraries: LibraryCard[];
}

export interface Library {
  id: string;
  name: string;
  kind: string;
  state: 'ready' | 'away';
  version: string;
  photos: number;
  movies: number;
  rejected: number;
  events: 'events' | 'projects';
  people: boolean;
  keywords: boolean;
  search: 'ready' | 'building' | 'none';
  searchDone?: number;
  /** Which pictures the server can show: without its decoder only those that are JPEGs. */
  pictures?: 'all' | 'jpeg';
}

export interface Album {
  list: string;
  kind: string;
  name: string;
  parent: string;
  count: number;
  key: number;
  note?: string;
}

/** first and last are days since 1970-01-01. */
export interface Event {
  list: string;
  name: string;
  count: number;
  key: number;
  first?: number | null;
  last?: number | null;
  parent?: string;
  note?: string;
}

export interface Person {
  list: string;
  name: string;
  count: number;
  key: number;
  face: number;
}

export interface Keyword {
  list: string;
  name: string;
  parent: string;
  count: number;
}

export interface Suggestion {
  list: string;
  name: string;
  kind: string;
  /** Not of places: what a search finds is known when it is made. */
  count?: number;
}

/** day and n are the sections: the first day and the differences, and the photos in each. */
export interface ListAnswer {
  list: string;
  title: string;
  count: number;
  page: number;
  version: string;
  day: (number | null)[];
  n: number[];
}

/** Columns of up to 1,000 photos; id and date are a first value and differences. */
export interface PageAnswer {
  id: number[];
  date: (number | null)[];
  width: number[];
  height: number[];
  flags: number[];
}

export interface Named {
  list: string;
  name: string;
}

export interface FaceName extends Named {
  face: number;
  rect: [number, number, number, number];
}

export interface PhotoFacts {
  id: number;
  title?: string;
  caption?: string;
  file?: string;
  bytes?: number;
  kind: 'photo' | 'movie' | 'raw';
  date?: string;
  zone?: string;
  width?: number;
  height?: number;
  flagged?: boolean;
  rating?: number;
  label?: number;
  keywords?: Named[];
  people?: FaceName[];
  albums?: Named[];
  event?: Named;
  camera?: {
    make?: string;
    model?: string;
    lens?: string;
    aperture?: number;
    shutter?: number;
    iso?: number;
    focal?: number;
  };
  position?: [number, number, number?];
  place?: string;
  edited?: boolean;
  original?: { name: string; bytes: number; type: string } | null;
  movie?: MovieState;
  /** The short movie of a live photo. */
  live?: MovieState;
}

export interface MovieState {
  state: 'ready' | 'waiting' | 'converting' | 'convert' | 'none';
  percent?: number;
  url?: string;
}

export interface ZipSize {
  count: number;
  bytes: number;
  name: string;
}

/** The server refused, or could not be reached (status 0). */
export class ApiError extends Error {
  constructor(readonly status: number) {
    super(`status ${status}`);
  }
}

/** What a request failed with: the HTTP status, 0 if the server could not be reached. */
export function statusOf(error: unknown): number {
  return error instanceof ApiError ? error.status : 0;
}

/** Whether a later try may succeed: the server is away, busy, or builds its index for the search. */
export function isTemporary(failed: number | undefined): boolean {
  return failed === 0 || failed === 429 || failed === 503;
}

/** Reads JSON. Without a key the browser goes to the page for the digits, which leads back. */
export async function getJson<T>(address: string, signal?: AbortSignal): Promise<T> {
  let response: Response;
  try {
    response = await fetch(address, { credentials: 'same-origin', ...(signal ? { signal } : {}) });
  } catch (error) {
    if (signal?.aborted) throw error;
    throw new ApiError(0);
  }
  if (response.status === 401) location.assign('/login?to=' + encodeURIComponent(location.pathname + location.search));
  if (!response.ok) throw new ApiError(response.status);
  return (await response.json()) as T;
}

/** Whether the server must turn the pixels, because this browser ignores the first Exif segment. */
let upright = false;
export function askForUprightPictures(): void {
  upright = true;
}

/** Addresses below one library. */
export class LibraryAddresses {
  readonly root: string;
  /** Changes with the library; pictures may be kept as long as it is the same. */
  version = '';

  constructor(readonly id: string) {
    this.root = `/l/${encodeURIComponent(id)}/`;
  }

  api(path: string, query?: URLSearchParams): string {
    const words = query?.toString();
    return `${this.root}api/1/${path}${words ? '?' + words : ''}`;
  }

  thumb(id: number): string {
    return this.picture('thumb', `${id}`);
  }

  preview(id: number): string {
    return this.picture('preview', `${id}`);
  }

  large(id: number): string {
    return this.picture('large', `${id}`);
  }

  face(id: number, index: number): string {
    return this.picture('face', `${id}/${index}`);
  }

  original(id: number): string {
    return `${this.root}original/${id}`;
  }

  /** The original in the browser, where it can show it. */
  shown(id: number): string {
    return `${this.root}original/${id}?show=1`;
  }

  edited(id: number): string {
    return `${this.root}edited/${id}`;
  }

  zip(list: string, query: URLSearchParams): string {
    return `${this.root}zip/${listPath(list)}?${query}`;
  }

  private picture(kind: string, name: string): string {
    return `${this.root}${kind}/${name}?v=${encodeURIComponent(this.version)}${upright ? '&upright=1' : ''}`;
  }
}

/** A list's name as a part of an address: colons and commas stay readable. */
export function listPath(list: string): string {
  return encodeURIComponent(list).replace(/%3A/g, ':').replace(/%2C/g, ',');
}
