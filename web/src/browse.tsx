// The views that lead to lists: albums in their folders, events, people, keywords.
import type { ComponentChildren } from 'preact';
import { useState } from 'preact/hooks';
import { isTemporary, type Album, type Event, type Keyword, type Person } from './api';
import { formatCount, formatDays } from './format';
import { Icon } from './icons';
import type { Context } from './list';
import { Head, NotFound, Notice, Picture } from './parts';
import { back, listAddress, placeAddress } from './route';
import { text } from './text';
import { useJson, type Loaded } from './use';

/** Reads one of the library's tables, again when the library has changed. */
function useTable<T>(context: Context, name: string): Loaded<T> {
  return useJson<T>(context.addresses.api(name), context.revision);
}

function TableNotice({ state, empty }: { state: Loaded<unknown>; empty: string }) {
  if (isTemporary(state.failed)) return <Notice title={text.loading} busy />;
  if (state.failed !== undefined) return <Notice title={text.failed} />;
  if (!state.data) return <Notice title={text.loading} busy />;
  return <Notice title={empty} />;
}

/** A tile that leads somewhere: a picture, a name and a line below it. */
function Card(props: { href: string; name: string; sub: string; kind?: string; children: ComponentChildren }) {
  return (
    <li>
      <a class={`card ${props.kind ?? ''}`} href={props.href}>
        <span class="cover">{props.children}</span>
        <span class="card-name">{props.name || text.noName}</span>
        <span class="card-sub">{props.sub}</span>
      </a>
    </li>
  );
}

function photoCount(count: number): string {
  return text.nPhotos(count, formatCount(count));
}

// Albums

/** What is in a folder, in the user's order. Containers of a kind that the folder has also lead further. */
export function childrenOf(albums: readonly Album[], folder: string): Album[] {
  return albums.filter((album) => album.parent === folder);
}

/** The deepest folder that is searched: a damaged library may have a circle of folders. */
const deepestFolder = 64;

/** Key photos for a folder's cover: those of the first four albums in it, at any depth. */
export function coverPhotos(albums: readonly Album[], folder: string, wanted = 4, depth = 0): number[] {
  const keys: number[] = [];
  if (depth > deepestFolder) return keys;
  for (const child of childrenOf(albums, folder)) {
    if (keys.length >= wanted) break;
    if (child.key) keys.push(child.key);
    else keys.push(...coverPhotos(albums, child.list, wanted - keys.length, depth + 1));
  }
  return keys;
}

/** "1 project, 2 folders, 3 albums": what is in a folder. */
export function contentsText(inside: readonly Album[]): string {
  const count = (isMeant: (album: Album) => boolean, name: (n: number, count: string) => string) => {
    const n = inside.filter(isMeant).length;
    return n > 0 ? name(n, formatCount(n)) : '';
  };
  const isAlbum = (album: Album) => album.kind !== 'project' && album.kind !== 'folder';
  const parts = [
    count((album) => album.kind === 'project', text.nProjects),
    count((album) => album.kind === 'folder', text.nFolders),
    count(isAlbum, text.nAlbums),
  ];
  return parts.filter(Boolean).join(', ') || text.nothing;
}

export function AlbumsView({ context }: { context: Context }) {
  const state = useTable<{ albums: Album[] }>(context, 'albums');
  const albums = state.data?.albums ?? [];
  const { folder } = context.route;
  const { library } = context;
  const open = albums.find((album) => album.list === folder);
  const inside = childrenOf(albums, folder);
  if (folder && state.data && !open) return <NotFound library={library.id} place="albums" name={text.albums} />;
  const isEmpty = inside.length === 0 && !open?.count;
  const up = open
    ? () => back(placeAddress(library.id, 'albums', albums.some((a) => a.list === open.parent) ? open.parent : ''))
    : undefined;
  return (
    <>
      <Head title={open?.name ?? text.albums} sub={inside.length ? formatCount(inside.length) : ''} up={up} />
      <div class="page">
        {isEmpty ? (
          <TableNotice state={state} empty={open ? text.empty : text.noAlbums} />
        ) : (
          <ul class="cards">
            {open && open.count > 0 && (
              <Card href={listAddress(library.id, open.list)} name={text.allOfFolder} sub={photoCount(open.count)}>
                <Cover context={context} photos={open.key ? [open.key] : coverPhotos(albums, open.list, 1)} />
              </Card>
            )}
            {inside.map((album) => (
              <AlbumCard key={album.list} context={context} album={album} albums={albums} />
            ))}
          </ul>
        )}
      </div>
    </>
  );
}

function AlbumCard({ context, album, albums }: { context: Context; album: Album; albums: readonly Album[] }) {
  const { library } = context;
  const inside = childrenOf(albums, album.list);
  const isFolder = album.kind === 'folder' || inside.length > 0;
  if (isFolder) {
    return (
      <Card
        href={placeAddress(library.id, 'albums', album.list)}
        name={album.name}
        sub={[contentsText(inside), album.count ? photoCount(album.count) : ''].filter(Boolean).join(' · ')}
        kind="folder"
      >
        <Cover context={context} photos={coverPhotos(albums, album.list)} folder />
      </Card>
    );
  }
  return (
    <Card
      href={listAddress(library.id, album.list)}
      name={album.name}
      sub={[photoCount(album.count), album.kind === 'smart' ? text.kinds['smart'] : '', album.note]
        .filter(Boolean)
        .join(' · ')}
    >
      <Cover context={context} photos={album.key ? [album.key] : []} />
    </Card>
  );
}

function Cover(props: { context: Context; photos: readonly number[]; folder?: boolean }) {
  if (props.photos.length === 0) return <Icon name={props.folder ? 'folder' : 'photos'} />;
  const shown = props.photos.length >= 4 ? props.photos.slice(0, 4) : props.photos.slice(0, 1);
  return (
    <span class={shown.length === 4 ? 'mosaic' : 'single'}>
      {shown.map((id, i) => (
        <Picture key={`${id}-${i}`} src={props.context.addresses.thumb(id)} />
      ))}
    </span>
  );
}

// Events

/** Events by their folder, in the order of each folder's first event; those without a folder come first. */
export function groupByParent(events: readonly Event[]): { parent: string; events: Event[] }[] {
  const groups = new Map<string, Event[]>();
  if (events.some((event) => !event.parent)) groups.set('', []);
  for (const event of events) {
    const parent = event.parent ?? '';
    const group = groups.get(parent);
    if (group) group.push(event);
    else groups.set(parent, [event]);
  }
  return [...groups].map(([parent, members]) => ({ parent, events: members }));
}

/** Names of the folders around a container, the outermost first. */
export function folderPath(albums: readonly Album[], folder: string): string[] {
  const names: string[] = [];
  let next = folder;
  for (let depth = 0; next && depth < deepestFolder; depth++) {
    const album = albums.find((candidate) => candidate.list === next);
    if (!album) break;
    names.unshift(album.name);
    next = album.parent;
  }
  return names;
}

export function EventsView({ context }: { context: Context }) {
  const state = useTable<{ events: Event[] }>(context, 'events');
  const events = state.data?.events ?? [];
  const isProjects = context.library.events === 'projects';
  const hasFolders = isProjects && events.some((event) => event.parent);
  const albums = useJson<{ albums: Album[] }>(hasFolders ? context.addresses.api('albums') : '').data?.albums ?? [];
  const groups = hasFolders ? groupByParent(events) : [{ parent: '', events }];
  return (
    <>
      <Head title={isProjects ? text.projects : text.events} sub={events.length ? formatCount(events.length) : ''} />
      <div class="page">
        {events.length === 0 ? (
          <TableNotice state={state} empty={text.noEvents} />
        ) : (
          groups.map((group) => (
            <section key={group.parent}>
              {group.parent && <h2 class="group">{folderPath(albums, group.parent).join(' › ')}</h2>}
              <ul class="cards">
                {group.events.map((event) => (
                  <Card
                    key={event.list}
                    href={listAddress(context.library.id, event.list)}
                    name={event.name || formatDays(event.first, event.last)}
                    sub={[formatDays(event.first, event.last), formatCount(event.count)].filter(Boolean).join(' · ')}
                  >
                    <Cover context={context} photos={event.key ? [event.key] : []} />
                  </Card>
                ))}
              </ul>
            </section>
          ))
        )}
      </div>
    </>
  );
}

// People

export function PeopleView({ context }: { context: Context }) {
  const state = useTable<{ people: Person[] }>(context, 'people');
  const people = state.data?.people ?? [];
  return (
    <>
      <Head title={text.people} sub={people.length ? formatCount(people.length) : ''} />
      <div class="page">
        {people.length === 0 ? (
          <TableNotice state={state} empty={text.noPeople} />
        ) : (
          <ul class="cards people">
            {people.map((person) => (
              <Card
                key={person.list}
                href={listAddress(context.library.id, person.list)}
                name={person.name}
                sub={photoCount(person.count)}
                kind="person"
              >
                {person.key ? (
                  <span class="single">
                    <Picture src={context.addresses.face(person.key, person.face)} />
                  </span>
                ) : (
                  <Icon name="people" />
                )}
              </Card>
            ))}
          </ul>
        )}
      </div>
    </>
  );
}

// Keywords

export function KeywordsView({ context }: { context: Context }) {
  const state = useTable<{ keywords: Keyword[] }>(context, 'keywords');
  const keywords = state.data?.keywords ?? [];
  const top = () => back(placeAddress(context.library.id, 'search'));
  return (
    <>
      <Head title={text.keywords} sub={keywords.length ? formatCount(keywords.length) : ''} up={top} />
      <div class="page">
        {keywords.length === 0 ? (
          <TableNotice state={state} empty={text.noKeywords} />
        ) : (
          <KeywordList context={context} keywords={keywords} parent="" depth={0} />
        )}
      </div>
    </>
  );
}

interface KeywordListProps {
  context: Context;
  keywords: readonly Keyword[];
  parent: string;
  depth: number;
}

function KeywordList({ context, keywords, parent, depth }: KeywordListProps) {
  const own = keywords.filter((keyword) => keyword.parent === parent);
  if (own.length === 0 || depth > 32) return null;
  return (
    <ul class={depth === 0 ? 'keywords' : 'keywords inner'}>
      {own.map((keyword) => (
        <KeywordItem key={keyword.list} context={context} keywords={keywords} keyword={keyword} depth={depth} />
      ))}
    </ul>
  );
}

function KeywordItem(props: Omit<KeywordListProps, 'parent'> & { keyword: Keyword }) {
  const { context, keywords, keyword, depth } = props;
  const hasMore = keywords.some((other) => other.parent === keyword.list);
  const [open, setOpen] = useState(depth === 0);
  return (
    <li>
      <span class="keyword">
        {hasMore ? (
          <button
            type="button"
            class={`tool fold ${open ? 'open' : ''}`}
            aria-expanded={open}
            aria-label={keyword.name}
            onClick={() => setOpen(!open)}
          >
            <Icon name="next" />
          </button>
        ) : (
          <span class="fold" />
        )}
        <a href={listAddress(context.library.id, keyword.list)}>
          {keyword.name} <span class="dim">{formatCount(keyword.count)}</span>
        </a>
      </span>
      {open && <KeywordList context={context} keywords={keywords} parent={keyword.list} depth={depth + 1} />}
    </li>
  );
}

/** The list of what was photographed on this day of any year. */
export function onThisDay(now: Date): string {
  const two = (n: number) => `${n}`.padStart(2, '0');
  return `onthisday:${two(now.getMonth() + 1)}-${two(now.getDate())}`;
}
