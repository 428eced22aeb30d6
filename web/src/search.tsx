// Search: a field, what the words may mean, and the photos that are found, as one types.
import { useEffect, useRef, useState } from 'preact/hooks';
import type { Libraries, Suggestion } from './api';
import { onThisDay } from './browse';
import { formatCount } from './format';
import { Icon, type IconName } from './icons';
import { ListView, type Context } from './list';
import { Head } from './parts';
import { go, listAddress, placeAddress } from './route';
import { text } from './text';
import { useJson } from './use';

/** Time after the last key before the server is asked, in milliseconds. */
const typingPause = 200;

export function SearchView({ context }: { context: Context }) {
  const { library, route } = context;
  const words = route.list.startsWith('search:') ? route.list.slice(7) : '';
  const field = <SearchField context={context} words={words} />;
  if (!words) {
    return (
      <>
        <div class="unseen">
          <Head title={text.search} />
        </div>
        {field}
        <Browse context={context} />
      </>
    );
  }
  return (
    <ListView
      context={context}
      list={`search:${words}`}
      above={
        <>
          {field}
          <SearchState context={context} />
        </>
      }
      key={library.id}
    />
  );
}

function SearchField({ context, words }: { context: Context; words: string }) {
  const [typed, setTyped] = useState(words);
  const [asked, setAsked] = useState(words);
  const timer = useRef(0);
  const field = useRef<HTMLInputElement>(null);
  useEffect(() => {
    if (!words) field.current?.focus({ preventScroll: true });
  }, []);
  // Another address, for example by the back button.
  useEffect(() => {
    if (words !== asked) {
      setTyped(words);
      setAsked(words);
    }
  }, [words]);
  const search = (value: string) => {
    const wanted = value.trim();
    setAsked(wanted);
    go(placeAddress(context.library.id, 'search', wanted), words !== '');
  };
  const type = (value: string) => {
    setTyped(value);
    clearTimeout(timer.current);
    timer.current = window.setTimeout(() => search(value), typingPause);
  };
  const submit = (event: Event) => {
    event.preventDefault();
    clearTimeout(timer.current);
    search(typed);
    field.current?.blur();
  };
  return (
    <form class="search" role="search" onSubmit={submit}>
      <div class="search-box">
        <Icon name="search" />
        <input
          ref={field}
          type="search"
          value={typed}
          placeholder={text.searchHint}
          aria-label={text.searchField}
          autocomplete="off"
          autocapitalize="off"
          spellcheck={false}
          enterkeyhint="search"
          onInput={(event) => type(event.currentTarget.value)}
        />
        {typed && (
          <button type="button" class="tool" aria-label={text.clear} onClick={() => type('')}>
            <Icon name="close" />
          </button>
        )}
      </div>
      <Suggestions context={context} words={asked} />
    </form>
  );
}

function Suggestions({ context, words }: { context: Context; words: string }) {
  const query = new URLSearchParams({ q: words });
  const { data } = useJson<{ lists: Suggestion[] }>(words ? context.addresses.api('suggest', query) : '');
  const lists = words ? (data?.lists ?? []) : [];
  if (lists.length === 0) return null;
  return (
    <ul class="suggestions" aria-label={text.found}>
      {lists.map((list) => (
        <li key={list.list}>
          <a class="chip" href={listAddress(context.library.id, list.list)}>
            <span class="dim">{text.kinds[list.kind] ?? list.kind}</span> {list.name}{' '}
            {list.count !== undefined && <span class="dim">{formatCount(list.count)}</span>}
          </a>
        </li>
      ))}
    </ul>
  );
}

function SearchState({ context }: { context: Context }) {
  if (context.library.search !== 'building') return null;
  return (
    <p class="banner" role="status">
      {text.searchBuilding(formatCount(context.library.searchDone ?? 0))}
    </p>
  );
}

/** What has no place in the bar of a phone. */
function Browse({ context }: { context: Context }) {
  const { library } = context;
  const { data } = useJson<Libraries>('/api/1/libraries');
  const entries: [IconName, string, string][] = [
    ['today', text.onThisDay, listAddress(library.id, onThisDay(new Date()))],
    ['flagged', text.flagged, listAddress(library.id, 'flagged')],
    ['movies', text.movies, listAddress(library.id, 'movies')],
  ];
  if (library.keywords) entries.push(['keywords', text.keywords, placeAddress(library.id, 'keywords')]);
  if (data && data.libraries.length > 1) entries.push(['photos', text.libraries, '/']);
  return (
    <div class="page">
      <SearchState context={context} />
      <h2 class="group">{text.browse}</h2>
      <ul class="entries">
        {entries.map(([icon, name, href]) => (
          <li key={href}>
            <a class="entry" href={href}>
              <Icon name={icon} />
              <span>{name}</span>
              <Icon name="next" />
            </a>
          </li>
        ))}
      </ul>
    </div>
  );
}
