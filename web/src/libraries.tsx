// The first page: a card for each library. With one library there is no such page.
import { useEffect } from 'preact/hooks';
import type { Libraries, LibraryCard } from './api';
import { formatCount } from './format';
import { Icon } from './icons';
import { Head, Notice } from './parts';
import { go } from './route';
import { text } from './text';
import { usePolled } from './use';

export function LibrariesView() {
  const { data, failed } = usePolled<Libraries>('/api/1/libraries', (state) => (state.data ? 15 : 2));
  const only = data?.libraries.length === 1 ? data.libraries[0] : undefined;
  useEffect(() => {
    if (only) go(`/l/${only.id}/photos`, true);
  }, [only?.id]);
  if (failed !== undefined && !data)
    return (
      <Notice title={text.serverAway} busy>
        <p>{text.serverAwayNote}</p>
      </Notice>
    );
  if (!data) return <Notice title={text.loading} busy />;
  if (data.libraries.length === 0)
    return (
      <Notice title={text.noLibraryTitle}>
        <p>{text.noLibrary}</p>
      </Notice>
    );
  return (
    <main class="view">
      <Head title={data.server || text.libraries} sub={text.libraries} />
      <div class="page">
        <ul class="cards libraries">
          {data.libraries.map((library) => (
            <li key={library.id}>
              <LibraryLink library={library} />
            </li>
          ))}
        </ul>
      </div>
    </main>
  );
}

function LibraryLink({ library }: { library: LibraryCard }) {
  const years =
    library.first === undefined || library.last === undefined
      ? ''
      : library.first === library.last
        ? `${library.first}`
        : `${library.first}–${library.last}`;
  const photos = library.photos === undefined ? '' : text.nPhotos(library.photos, formatCount(library.photos));
  const state = { ready: '', away: text.stateAway, unreadable: text.unreadable }[library.state];
  const inside = (
    <>
      <span class="library-icon">
        <Icon name="photos" />
      </span>
      <span class="library-text">
        <span class="card-name">{library.name}</span>
        <span class="card-sub">{[library.kind, years].filter(Boolean).join(' · ')}</span>
        <span class="card-sub">{[photos, state].filter(Boolean).join(' · ')}</span>
      </span>
    </>
  );
  if (library.state === 'unreadable') return <span class="library-card disabled">{inside}</span>;
  return (
    <a class="library-card" href={`/l/${library.id}/photos`}>
      {inside}
    </a>
  );
}
