// The page's frame: the bar with the views, the view that the address names, and messages while the library or the
// server is away.
import { useMemo, useRef } from 'preact/hooks';
import { LibraryAddresses, type Library } from './api';
import { AlbumsView, EventsView, KeywordsView, onThisDay, PeopleView } from './browse';
import { Icon, type IconName } from './icons';
import { LibrariesView } from './libraries';
import { ListView, type Context } from './list';
import { NotFound, Notice } from './parts';
import { back, listAddress, placeAddress, type Route } from './route';
import { SearchView } from './search';
import { text } from './text';
import { usePolled, useRoute } from './use';

export function App() {
  const route = useRoute();
  return route.library ? <LibraryApp key={route.library} route={route} /> : <LibrariesView />;
}

const pollSeconds = 15;
const awaySeconds = 2;

function LibraryApp({ route }: { route: Route }) {
  const addresses = useMemo(() => new LibraryAddresses(route.library), [route.library]);
  const { data, failed } = usePolled<Library>(addresses.api('library'), (state) => {
    const isThere = state.failed === undefined && state.data?.state === 'ready';
    return isThere && state.data?.search !== 'building' ? pollSeconds : awaySeconds;
  });
  const ready = useRef<Library>();
  if (data?.state === 'ready') {
    ready.current = data;
    addresses.version = data.version;
  }
  if (!data) {
    if (failed === undefined) return <Notice title={text.loading} busy />;
    if (failed === 404)
      return (
        <Notice title={text.notFound}>
          <p>
            <a href="/">{text.libraries}</a>
          </p>
        </Notice>
      );
    return <Away library={failed === 503} />;
  }
  const isThere = failed === undefined && data.state === 'ready';
  // While it is away, the server does not say what the library has; the bar keeps its entries.
  const library = { ...ready.current, ...data };
  const context: Context = { library, revision: `${data.version} ${isThere}`, addresses, route };
  return (
    <div class="app">
      <Bar context={context} />
      <main class="view" id="view" tabIndex={-1}>
        {isThere ? null : (
          <p class="banner" role="status">
            {failed === undefined || failed === 503
              ? `${text.away}. ${text.awayNote}`
              : `${text.serverAway}. ${text.serverAwayNote}`}
          </p>
        )}
        <View context={context} />
      </main>
    </div>
  );
}

function Away({ library }: { library: boolean }) {
  return (
    <Notice title={library ? text.away : text.serverAway} busy>
      <p>{library ? text.awayNote : text.serverAwayNote}</p>
    </Notice>
  );
}

function View({ context }: { context: Context }) {
  const { route, library } = context;
  switch (route.place) {
    case 'albums':
      return <AlbumsView context={context} />;
    case 'events':
      return <EventsView context={context} />;
    case 'people':
      return <PeopleView context={context} />;
    case 'keywords':
      return <KeywordsView context={context} />;
    case 'unknown':
      return <NotFound library={library.id} place="photos" name={text.photos} />;
    default:
      break;
  }
  if (route.place === 'search' || route.list.startsWith('search:')) return <SearchView key="search" context={context} />;
  if (route.list === 'all') return <ListView key="all" context={context} list="all" />;
  const up = () => back(placeAddress(library.id, placeOf(route.list)));
  return <ListView key={route.list} context={context} list={route.list} up={up} />;
}

/** The view that leads to a list. */
function placeOf(list: string): 'albums' | 'events' | 'people' | 'keywords' | 'search' {
  if (list.startsWith('event:')) return 'events';
  if (list.startsWith('person:')) return 'people';
  if (list.startsWith('keyword:')) return 'keywords';
  if (list.startsWith('album:') || list.startsWith('folder:')) return 'albums';
  return 'search';
}

function Bar({ context }: { context: Context }) {
  const { library, route } = context;
  const id = library.id;
  const place = route.place === 'list' && route.list !== 'all' ? placeOf(route.list) : route.place;
  const isOpen = (name: string) => (name === 'photos' ? route.list === 'all' : place === name);
  const today = onThisDay(new Date());
  // A narrow bar has no entries for them; there, the search leads to them.
  const hasWideEntry = place === 'keywords' || ['flagged', 'movies', today].includes(route.list);
  const events = library.events === 'projects' ? text.projects : text.events;
  return (
    <nav class="bar" aria-label={text.main}>
      <a class="skip" href="#view" onClick={skip}>
        {text.skip}
      </a>
      <a class="library-name" href="/">
        {library.name}
      </a>
      <ul>
        <Entry icon="photos" name={text.photos} href={placeAddress(id, 'photos')} on={isOpen('photos')} />
        <Entry icon="albums" name={text.albums} href={placeAddress(id, 'albums')} on={isOpen('albums')} />
        <Entry icon="events" name={events} href={placeAddress(id, 'events')} on={isOpen('events')} />
        {library.people && (
          <Entry icon="people" name={text.people} href={placeAddress(id, 'people')} on={isOpen('people')} />
        )}
        <Entry
          icon="search"
          name={text.search}
          href={placeAddress(id, 'search')}
          on={isOpen('search') || hasWideEntry}
          onlyNarrow={hasWideEntry}
        />
        {library.keywords && (
          <Entry
            icon="keywords"
            name={text.keywords}
            href={placeAddress(id, 'keywords')}
            on={isOpen('keywords')}
            wide
          />
        )}
        <ListEntry context={context} icon="flagged" name={text.flagged} list="flagged" />
        <ListEntry context={context} icon="movies" name={text.movies} list="movies" />
        <ListEntry context={context} icon="today" name={text.onThisDay} list={today} />
      </ul>
    </nav>
  );
}

function ListEntry(props: { context: Context; icon: IconName; name: string; list: string }) {
  const { library, route } = props.context;
  return (
    <Entry icon={props.icon} name={props.name} href={listAddress(library.id, props.list)} on={route.list === props.list} wide />
  );
}

function Entry(props: { icon: IconName; name: string; href: string; on: boolean; wide?: boolean; onlyNarrow?: boolean }) {
  const current = props.onlyNarrow ? 'true' : 'page';
  return (
    <li class={props.wide ? 'only-wide' : ''}>
      <a
        href={props.href}
        class={props.on ? (props.onlyNarrow ? 'on only-narrow' : 'on') : ''}
        aria-current={props.on ? current : undefined}
      >
        <Icon name={props.icon} />
        <span>{props.name}</span>
      </a>
    </li>
  );
}

function skip(event: Event): void {
  event.preventDefault();
  const grid = document.querySelector<HTMLElement>('.tile[tabindex="0"]');
  (grid ?? document.getElementById('view'))?.focus();
}
