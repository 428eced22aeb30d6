// The page's own addresses: /l/LIB/photos, /l/LIB/list/album:12/photo/345?rating=3 and so on. Every view has one, so
// that it can be sent to somebody and opened again.
import { listPath } from './api';

export type Place = 'libraries' | 'photos' | 'albums' | 'events' | 'people' | 'keywords' | 'search' | 'list' | 'unknown';

export interface Route {
  place: Place;
  library: string;
  /** The list that is shown; '' where the place has none. */
  list: string;
  /** Of the search place. */
  words: string;
  /** Of the albums' place: the folder that is open; '' for all. */
  folder: string;
  /** The photo in the viewer; 0: the viewer is closed. */
  photo: number;
  filters: Filters;
}

export interface Filters {
  flagged: boolean;
  movies: boolean;
  rejected: boolean;
  /** At least; 0: any. */
  rating: number;
  /** Exactly; 0: any. */
  stars: number;
  label: number;
}

export const noFilters: Filters = { flagged: false, movies: false, rejected: false, rating: 0, stars: 0, label: 0 };

export function isFiltered(filters: Filters): boolean {
  return filters.flagged || filters.movies || filters.rejected || filters.rating + filters.stars + filters.label > 0;
}

export function filtersOf(query: URLSearchParams): Filters {
  const number = (name: string, highest: number) => {
    const value = Number(query.get(name) ?? 0);
    return Number.isInteger(value) && value >= 0 && value <= highest ? value : 0;
  };
  return {
    flagged: query.get('flagged') === '1',
    movies: query.get('movies') === '1',
    rejected: query.get('rejected') === '1',
    rating: number('rating', 5),
    stars: number('stars', 5),
    label: number('label', 99),
  };
}

export function queryOf(filters: Filters): URLSearchParams {
  const query = new URLSearchParams();
  if (filters.flagged) query.set('flagged', '1');
  if (filters.movies) query.set('movies', '1');
  if (filters.rejected) query.set('rejected', '1');
  if (filters.rating) query.set('rating', `${filters.rating}`);
  if (filters.stars) query.set('stars', `${filters.stars}`);
  if (filters.label) query.set('label', `${filters.label}`);
  return query;
}

const plainPlaces: readonly string[] = ['photos', 'albums', 'events', 'people', 'keywords'];

/** What an address shows. */
export function parseAddress(path: string, search: string): Route {
  const parts = path.split('/').filter(Boolean).map(decodePart);
  const query = new URLSearchParams(search);
  const route: Route = {
    place: 'libraries',
    library: '',
    list: '',
    words: '',
    folder: '',
    photo: 0,
    filters: filtersOf(query),
  };
  if (parts[0] !== 'l' || !parts[1]) return route;
  route.library = parts[1];
  const place = parts[2] ?? 'photos';
  route.place = 'unknown';
  if (place === 'list' && parts[3]) {
    route.place = 'list';
    route.list = parts[3];
    if (parts[4] === 'photo' && /^\d+$/.test(parts[5] ?? '')) route.photo = Number(parts[5]);
  } else if (place === 'search') {
    route.place = 'search';
    route.words = parts[3] ?? '';
    route.list = route.words ? `search:${route.words}` : '';
  } else if (plainPlaces.includes(place) && parts.length <= 3) {
    route.place = place as Place;
    if (route.place === 'photos') route.list = 'all';
    if (route.place === 'albums') route.folder = query.get('in') ?? '';
  }
  return route;
}

function decodePart(part: string): string {
  try {
    return decodeURIComponent(part);
  } catch {
    return part;
  }
}

export function placeAddress(library: string, place: Exclude<Place, 'libraries' | 'list' | 'unknown'>, rest = ''): string {
  const end = place === 'search' ? (rest ? '/' + encodeURIComponent(rest) : '') : '';
  const query = place === 'albums' && rest ? `?in=${listPath(rest)}` : '';
  return `/l/${library}/${place}${end}${query}`;
}

export function listAddress(library: string, list: string, filters: Filters = noFilters, photo = 0): string {
  const query = queryOf(filters).toString();
  const viewer = photo ? `/photo/${photo}` : '';
  return `/l/${library}/list/${listPath(list)}${viewer}${query ? '?' + query : ''}`;
}

/** The same place with other filters. */
export function withFilters(route: Route, filters: Filters): string {
  const words = queryOf(filters).toString();
  const query = words ? '?' + words : '';
  if (route.place === 'photos') return placeAddress(route.library, 'photos') + query;
  if (route.place === 'search') return placeAddress(route.library, 'search', route.words) + query;
  return listAddress(route.library, route.list, filters);
}

// Moving between addresses.

type Listener = () => void;
const listeners = new Set<Listener>();

/** Calls the listener after each change of the address; returns what stops it. */
export function onNavigation(listener: Listener): () => void {
  listeners.add(listener);
  return () => listeners.delete(listener);
}

function changed(): void {
  for (const listener of [...listeners]) listener();
}

/** Moves to an address of the page. `replace` leaves no step for the back button. */
export function go(address: string, replace = false): void {
  if (replace) history.replaceState(history.state, '', address);
  else history.pushState({ depth: depth() + 1 }, '', address);
  changed();
}

/** Steps that were made within the page: whether "back" stays in it. */
export function depth(): number {
  const state = history.state as { depth?: number } | null;
  return state?.depth ?? 0;
}

/** One step back, or to this address if the page was opened here. */
export function back(otherwise: string): void {
  if (depth() > 0) history.back();
  else go(otherwise, true);
}

/** Begins to follow the browser's back and forward buttons, and clicks on links of the page. */
export function startNavigation(): void {
  history.scrollRestoration = 'manual';
  addEventListener('popstate', changed);
  document.addEventListener('click', (event) => {
    if (event.defaultPrevented || event.button !== 0) return;
    if (event.metaKey || event.ctrlKey || event.shiftKey || event.altKey) return;
    const link = event.target instanceof Element ? event.target.closest('a') : null;
    if (!link || link.target || link.hasAttribute('download') || link.origin !== location.origin) return;
    if (!isPage(link.pathname)) return;
    event.preventDefault();
    go(link.pathname + link.search);
  });
}

/** Whether this address is a view of the page, not a file. */
export function isPage(path: string): boolean {
  if (path === '/') return true;
  return /^\/l\/[^/]+(\/((photos|albums|events|people|keywords)|(search|list)(\/.*)?)?)?$/.test(path);
}
