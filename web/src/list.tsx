// A list of photos: the grid with its head, tools, filters and selection, and the viewer over it.
import type { ComponentChildren } from 'preact';
import { useEffect, useMemo, useRef, useState } from 'preact/hooks';
import { isTemporary, statusOf, type Library, type LibraryAddresses } from './api';
import { DownloadDialog } from './download';
import { FilterLine, FilterPanel } from './filters';
import { formatCount, formatDays, formatMonthDay } from './format';
import { Grid, type Anchor } from './grid';
import { defaultSize, largestSize, yearOf } from './layout';
import { Head, Notice, Popover, Tool } from './parts';
import { PhotoList } from './photolist';
import { back, go, isFiltered, listAddress, placeAddress, queryOf, withFilters, type Route } from './route';
import { Scrubber } from './scrubber';
import { text } from './text';
import { keepSetting, later, readSetting } from './use';
import type { Viewer } from './viewer';

/** What the views of one library share. */
export interface Context {
  library: Library;
  /** Another text whenever what was read before may be wrong: the library has changed, or is back. */
  revision: string;
  addresses: LibraryAddresses;
  route: Route;
}

/** Where each list was left, for when it is shown again. */
const places = new Map<string, Anchor>();

/** The most photos that an address of a selection may name. */
const largestSelection = 1000;

/** Whether the server may turn this list around: one in the user's own order stays. */
function isByDate(list: string): boolean {
  return !/^(album|folder|photos|event):/.test(list);
}

export function ListView(props: {
  context: Context;
  list: string;
  /** A view's own head above the grid, for example a search field. */
  above?: ComponentChildren;
  up?: (() => void) | undefined;
}) {
  const { addresses, route, library } = props.context;
  const [newestFirst, setNewestFirst] = useState(readSetting('order', 'old') === 'new');
  const [size, setSize] = useState(() => clampSize(Number(readSetting('size', `${defaultSize}`))));
  const filters = queryOf(route.filters);
  if (newestFirst && isByDate(props.list)) filters.set('order', 'new');
  const words = filters.toString();
  const query = useMemo(() => new URLSearchParams(words), [words]);
  const { list, failed } = useList(addresses, props.list, query, props.context.revision);
  const [selecting, setSelecting] = useState(false);
  const selection = useSelection();
  const [dialog, setDialog] = useState('');
  const [slideshow, setSlideshow] = useState(false);
  const grid = useRef<Grid>();

  const order = (newest: boolean) => {
    keepSetting('order', newest ? 'new' : 'old');
    setNewestFirst(newest);
  };
  const resize = (step: number) =>
    setSize((old) => {
      const next = clampSize(old + step);
      keepSetting('size', `${next}`);
      return next;
    });
  const endSelection = () => {
    setSelecting(false);
    selection.clear();
  };
  const play = async () => {
    const photo = await list?.fetch(grid.current?.anchor().index ?? 0);
    if (!photo) return;
    setSlideshow(true);
    go(listAddress(library.id, props.list, route.filters, photo.id));
  };

  const title = listTitle(props.list, list);
  const count = list ? text.nPhotos(list.count, formatCount(list.count)) : '';
  return (
    <>
      {props.above}
      <Head title={title} sub={[count, years(list)].filter(Boolean).join(' · ')} up={props.up}>
        <Tool icon="minus" label={text.smaller} class="wide" disabled={size === 0} onClick={() => resize(-1)} />
        <Tool icon="plus" label={text.larger} class="wide" disabled={size === largestSize} onClick={() => resize(1)} />
        <Tool icon="slideshow" label={text.slideshow} disabled={!list?.count} onClick={() => void play()} />
        <Popover icon="filter" label={text.filter} marked={isFiltered(route.filters)}>
          <FilterPanel filters={route.filters} onChange={(chosen) => go(withFilters(route, chosen), true)} />
        </Popover>
        <Tool
          icon="select"
          label={text.select}
          pressed={selecting}
          onClick={() => (selecting ? endSelection() : setSelecting(true))}
        />
        <Popover icon="more" label={text.more} closeOnChoice>
          <button type="button" class="item" onClick={() => setDialog(props.list)} disabled={!list?.count}>
            {text.download}…
          </button>
          {isByDate(props.list) && (
            <button type="button" class="item" onClick={() => order(!newestFirst)}>
              {newestFirst ? text.newestLast : text.newestFirst}
            </button>
          )}
          <button type="button" class="item" onClick={() => resize(1)} disabled={size === largestSize}>
            {text.larger}
          </button>
          <button type="button" class="item" onClick={() => resize(-1)} disabled={size === 0}>
            {text.smaller}
          </button>
        </Popover>
      </Head>
      <FilterLine filters={route.filters} onChange={(chosen) => go(withFilters(route, chosen), true)} />
      {list && list.count > 0 ? (
        <PhotoGrid
          context={props.context}
          list={list}
          place={`${library.id}/${props.list}?${words}`}
          startAtEnd={props.list === 'all' && !newestFirst}
          size={size}
          onPinch={resize}
          selecting={selecting}
          selection={selection}
          slideshow={slideshow}
          onViewerClosed={() => setSlideshow(false)}
          grid={grid}
        />
      ) : (
        <ListNotice loading={!list} failed={failed} filtered={isFiltered(route.filters)} />
      )}
      {selecting && (
        <div class="selection" role="region" aria-label={text.selection}>
          <span aria-live="polite">{text.nSelected(selection.count, formatCount(selection.count))}</span>
          {selection.count > largestSelection && <span class="warning">{text.tooMany}</span>}
          <button
            type="button"
            class="button"
            disabled={selection.count === 0 || selection.count > largestSelection}
            onClick={() => setDialog(`photos:${selection.ids().join(',')}`)}
          >
            {text.download}…
          </button>
          <button type="button" class="button plain" onClick={endSelection}>
            {text.done}
          </button>
        </div>
      )}
      {dialog && (
        <DownloadDialog
          addresses={addresses}
          list={dialog}
          title={downloadName(dialog, title)}
          filters={dialog.startsWith('photos:') ? new URLSearchParams() : query}
          onClose={() => setDialog('')}
        />
      )}
    </>
  );
}

function clampSize(size: number): number {
  return Number.isInteger(size) ? Math.min(largestSize, Math.max(0, size)) : defaultSize;
}

function listTitle(list: string, loaded: PhotoList | undefined): string {
  if (list === 'all') return text.photos;
  if (list === 'flagged') return text.flagged;
  if (list === 'movies') return text.movies;
  if (list.startsWith('onthisday:')) return `${text.onThisDay}, ${formatMonthDay(list.slice(10))}`;
  if (list.startsWith('photos:')) return text.selection;
  if (list.startsWith('search:')) return text.quoted(list.slice(7));
  if (!loaded) return ' ';
  const days = daysOf(loaded);
  return loaded.title || formatDays(days[0], days[days.length - 1]) || text.noName;
}

/** What a download of a list is called in its dialog, which puts it in quotation marks itself. */
function downloadName(list: string, title: string): string {
  if (list.startsWith('photos:')) return text.selection;
  return list.startsWith('search:') ? list.slice(7) : title;
}

function daysOf(list: PhotoList): number[] {
  return list.sections.flatMap((section) => (section.day === null ? [] : [section.day]));
}

function years(list: PhotoList | undefined): string {
  const days = list ? daysOf(list) : [];
  if (days.length === 0) return '';
  const ends = [yearOf(days[0]!), yearOf(days[days.length - 1]!)].sort((a, b) => a - b);
  return ends[0] === ends[1] ? `${ends[0]}` : `${ends[0]}–${ends[1]}`;
}

function ListNotice(props: { loading: boolean; failed: number | undefined; filtered: boolean }) {
  if (props.failed === 404) return <Notice title={text.notFound} />;
  if (isTemporary(props.failed)) return <Notice title={text.loading} busy />;
  if (props.failed !== undefined) return <Notice title={text.failed} />;
  if (props.loading) return <Notice title={text.loading} busy />;
  return <Notice title={props.filtered ? text.emptyFiltered : text.empty} />;
}

/** The list, read again when the library has changed, and after a pause while the server is away or busy. */
function useList(addresses: LibraryAddresses, name: string, filters: URLSearchParams, revision: string) {
  const [state, setState] = useState<{ key: string; list?: PhotoList; failed?: number }>({ key: '' });
  const [reload, setReload] = useState(0);
  const key = `${addresses.id}/${name}?${filters}`;
  useEffect(() => {
    const abort = new AbortController();
    let stop = () => {};
    PhotoList.load(addresses, name, filters, abort.signal)
      .then((list) => {
        list.onStale = () => setReload((n) => n + 1);
        setState({ key, list });
      })
      .catch((error: unknown) => {
        if (abort.signal.aborted) return;
        // A failure while the library is away must not empty the screen.
        const failed = statusOf(error);
        if (isTemporary(failed)) stop = later(() => setReload((n) => n + 1));
        setState((old) => (old.key === key && old.list && failed !== 404 ? old : { key, failed }));
      });
    return () => {
      abort.abort();
      stop();
    };
  }, [key, revision, reload]);
  return state.key === key ? state : { list: undefined, failed: undefined };
}

interface Selection {
  count: number;
  has(id: number): boolean;
  ids(): number[];
  /** Adds the photos, or removes them if all are in it. */
  toggle(ids: readonly number[]): void;
  clear(): void;
}

function useSelection(): Selection {
  const set = useRef(new Set<number>()).current;
  const [count, setCount] = useState(0);
  return useMemo(
    () => ({
      count,
      has: (id) => set.has(id),
      ids: () => [...set],
      toggle: (ids) => {
        const remove = ids.every((id) => set.has(id));
        for (const id of ids) if (remove) set.delete(id);
          else set.add(id);
        setCount(set.size);
      },
      clear: () => {
        set.clear();
        setCount(0);
      },
    }),
    [count],
  );
}

interface GridProps {
  context: Context;
  list: PhotoList;
  /** Name under which the place in the list is remembered. */
  place: string;
  startAtEnd: boolean;
  size: number;
  onPinch: (step: number) => void;
  selecting: boolean;
  selection: Selection;
  slideshow: boolean;
  onViewerClosed: () => void;
  grid: { current: Grid | undefined };
}

function PhotoGrid(props: GridProps) {
  const frame = useRef<HTMLDivElement>(null);
  const scroller = useRef<HTMLDivElement>(null);
  const bar = useRef<Scrubber>();
  const last = useRef(0);
  const now = useRef(props);
  now.current = props;
  const photo = props.context.route.photo;

  useEffect(() => {
    const grid = new Grid(scroller.current!, gridHost(now, bar, last));
    props.grid.current = grid;
    bar.current = new Scrubber(frame.current!, grid);
    grid.setSize(now.current.size);
    return () => {
      bar.current?.close();
      grid.close();
      props.grid.current = undefined;
    };
  }, []);

  useEffect(() => {
    const grid = props.grid.current!;
    const start = props.startAtEnd ? 'end' : 'start';
    grid.show(props.list, places.get(props.place) ?? start);
    bar.current!.arrange();
  }, [props.list]);

  useEffect(() => {
    props.grid.current!.setSize(props.size);
    bar.current!.arrange();
  }, [props.size]);

  useEffect(() => props.grid.current!.refresh(), [props.selecting, props.selection]);

  const shown = useViewer(props, photo);
  return (
    <div class="grid-frame" ref={frame} hidden={shown}>
      <div class={`scroller ${props.selecting ? 'selecting' : ''}`} ref={scroller} tabIndex={-1} />
    </div>
  );
}

function gridHost(now: { current: GridProps }, bar: { current: Scrubber | undefined }, last: { current: number }) {
  const select = async (first: number, end: number) => {
    const { list, selection } = now.current;
    const ids: number[] = [];
    for (let i = first; i <= end; i++) {
      const photo = await list.fetch(i);
      if (photo) ids.push(photo.id);
    }
    selection.toggle(ids);
  };
  let arrangedFor = '';
  return {
    thumb: (photo: { id: number }) => now.current.context.addresses.thumb(photo.id),
    href: (photo: { id: number }) => viewerAddress(now.current, photo.id),
    isSelected: (id: number) => now.current.selection.has(id),
    selecting: () => now.current.selecting,
    open: (index: number) => {
      const photo = now.current.list.get(index);
      if (photo) go(viewerAddress(now.current, photo.id));
    },
    select: (index: number, range: boolean) => {
      const from = range ? last.current : index;
      last.current = index;
      void select(Math.min(from, index), Math.max(from, index));
    },
    selectSection: (first: number, count: number) => void select(first, first + count - 1),
    moved: () => {
      const grid = now.current.grid.current;
      if (!grid || now.current.context.route.photo) return;
      places.set(now.current.place, grid.anchor());
      const measures = `${grid.height} ${grid.viewportHeight}`;
      if (measures === arrangedFor) return bar.current?.moved();
      arrangedFor = measures;
      bar.current?.arrange();
    },
    pinched: (step: number) => now.current.onPinch(step),
  };
}

function viewerAddress(props: GridProps, photo: number): string {
  return listAddress(props.context.library.id, props.list.name, props.context.route.filters, photo);
}

/** The address of the list without the viewer. */
function listHome(context: Context, list: string): string {
  const { library, route } = context;
  const bare: Route = { ...route, photo: 0, list, place: list === 'all' ? 'photos' : 'list' };
  if (list.startsWith('search:')) return placeAddress(library.id, 'search', list.slice(7));
  return withFilters(bare, route.filters);
}

/** Opens, moves and closes the viewer as the address says. Returns whether it covers the grid. */
function useViewer(props: GridProps, photo: number): boolean {
  const viewer = useRef<Viewer>();
  const [shown, setShown] = useState(photo !== 0);
  // Photos that the viewer itself has put into the address. It may be further by the time this runs, and must not be
  // moved back: then two photos would take turns without an end.
  const reported = useRef(new Set<number>());
  const now = useRef(props);
  now.current = props;

  useEffect(() => {
    if (photo === 0) {
      viewer.current?.close();
      return;
    }
    if (viewer.current?.list === props.list) {
      if (viewer.current.photo === photo) reported.current.clear();
      if (viewer.current.photo === photo || reported.current.delete(photo)) return;
    }
    let left = false;
    void (async () => {
      const index = await locate(props, photo);
      if (left) return;
      if (index === undefined) {
        setShown(false);
        return go(listHome(props.context, props.list.name), true);
      }
      if (viewer.current) return viewer.current.show(props.list, index);
      const { openViewer } = await import('./viewer');
      if (left) return;
      setShown(true);
      viewer.current = openViewer({
        context: props.context,
        list: props.list,
        index,
        slideshow: props.slideshow,
        onPhoto: (id) => {
          if (!now.current.context.route.photo) return;
          reported.current.add(id);
          go(viewerAddress(now.current, id), true);
        },
        onClosed: (lastIndex) => {
          viewer.current = undefined;
          // As it is shown again, the list may draw itself before it is back there.
          const place = places.get(now.current.place);
          setShown(false);
          now.current.onViewerClosed();
          if (now.current.context.route.photo) back(listHome(now.current.context, now.current.list.name));
          requestAnimationFrame(() => showAgain(now.current.grid.current, place, lastIndex));
        },
      });
    })();
    return () => {
      left = true;
    };
  }, [photo, props.list]);
  useEffect(() => () => viewer.current?.close(), []);
  return shown;
}

/** Where the photo is: at a tile that was tapped, or where the server finds it. */
async function locate(props: GridProps, photo: number): Promise<number | undefined> {
  const anchor = places.get(props.place)?.index ?? 0;
  for (let i = anchor - 500; i < anchor + 500; i++) if (props.list.get(i)?.id === photo) return i;
  return props.list.indexOf(photo);
}

/** The grid as it was left, unless the photo that was seen last is elsewhere. */
function showAgain(grid: Grid | undefined, place: Anchor | undefined, lastIndex: number): void {
  if (!grid) return;
  if (place) grid.restore(place);
  grid.center(lastIndex);
  grid.focusCurrent();
}
