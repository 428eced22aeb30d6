// The panel with the facts of a photo. A fact that the library does not have has no line.
import type { ComponentChildren } from 'preact';
import { listPath, type Library, type LibraryAddresses, type Named, type PhotoFacts } from './api';
import {
  formatBytes,
  formatDecimal,
  formatCount,
  formatPosition,
  formatShutter,
  formatWallClock,
  formatZone,
} from './format';
import { Tool } from './parts';
import { text } from './text';
import { useJson } from './use';

export function InfoPanel(props: {
  library: Library;
  addresses: LibraryAddresses;
  photo: number;
  onClose: () => void;
}) {
  const { data, failed } = useJson<PhotoFacts>(props.addresses.api(`photo/${props.photo}`));
  return (
    <div class="info">
      <div class="info-head">
        <h2>{text.info}</h2>
        <Tool icon="close" label={text.close} onClick={props.onClose} />
      </div>
      {failed !== undefined && <p class="dim">{text.noInfo}</p>}
      {data && data.id === props.photo && <Facts {...props} facts={data} />}
    </div>
  );
}

interface FactsProps {
  library: Library;
  addresses: LibraryAddresses;
  facts: PhotoFacts;
}

function Facts({ library, addresses, facts }: FactsProps) {
  const when = facts.date ? formatWallClock(facts.date) : undefined;
  const eventName = library.events === 'projects' ? text.project : text.event;
  return (
    <>
      {facts.title && <p class="info-title">{facts.title}</p>}
      {facts.caption && <p class="caption">{facts.caption}</p>}
      {when && (
        <p>
          {when.day}
          <br />
          <span class="dim">
            {when.time}
            {facts.zone ? ` · ${formatZone(facts.zone)}` : ''}
          </span>
        </p>
      )}
      <Marks facts={facts} />
      <Downloads addresses={addresses} facts={facts} />
      <dl>
        <Line name={text.file}>{fileLine(facts)}</Line>
        <Line name={text.camera}>{cameraLines(facts)}</Line>
        <Line name={text.people}>{links(library, facts.people)}</Line>
        <Line name={text.keywords}>{links(library, facts.keywords)}</Line>
        <Line name={eventName}>{facts.event && links(library, [facts.event])}</Line>
        <Line name={text.inAlbums}>{links(library, facts.albums)}</Line>
        <Line name={text.place}>{facts.place}</Line>
        <Line name={text.position}>{facts.position && <Position at={facts.position} />}</Line>
      </dl>
    </>
  );
}

function Line({ name, children }: { name: string; children?: ComponentChildren }) {
  if (!children || (Array.isArray(children) && children.length === 0)) return null;
  return (
    <div class="line">
      <dt>{name}</dt>
      <dd>{children}</dd>
    </div>
  );
}

function Marks({ facts }: { facts: PhotoFacts }) {
  const rating = facts.rating ?? 0;
  const label = facts.label ? text.labels[facts.label - 1] : undefined;
  if (rating <= 0 && !facts.flagged && !label) return null;
  return (
    <p class="marks">
      {rating > 0 && (
        <span role="img" aria-label={text.nStars(rating)}>
          {'★'.repeat(rating)}
        </span>
      )}
      {facts.flagged && <span class="chip plain">{text.flagged}</span>}
      {label && (
        <span class="chip plain">
          <span class={`dot label-${facts.label}`} aria-hidden="true" /> {label}
        </span>
      )}
    </p>
  );
}

function Downloads({ addresses, facts }: { addresses: LibraryAddresses; facts: PhotoFacts }) {
  const size = facts.original?.bytes ? ` (${formatBytes(facts.original.bytes)})` : '';
  const label = facts.kind === 'movie' ? text.downloadMovie : text.downloadOriginal;
  const isTouched = matchMedia('(pointer: coarse)').matches && facts.kind !== 'movie';
  const shown =
    facts.original?.type === 'image/jpeg' && !facts.edited ? addresses.shown(facts.id) : addresses.large(facts.id);
  return (
    <div class="downloads">
      {facts.original === null ? (
        <p class="dim">{text.notInLibrary}</p>
      ) : (
        <a class="button" href={addresses.original(facts.id)} download="">
          {label + size}
        </a>
      )}
      {facts.edited && (
        <a class="button plain" href={addresses.edited(facts.id)} download="">
          {text.downloadEdited}
        </a>
      )}
      {facts.live?.state === 'ready' && facts.live.url && (
        <a class="button plain" href={facts.live.url} download="">
          {text.downloadLive}
        </a>
      )}
      {isTouched && (
        <>
          <a class="button plain" href={shown} target="_blank" rel="noreferrer">
            {text.savePhoto}
          </a>
          <p class="dim">{text.saveHint}</p>
        </>
      )}
    </div>
  );
}

function fileLine(facts: PhotoFacts): ComponentChildren {
  const parts: string[] = [];
  if (facts.width && facts.height) parts.push(`${formatCount(facts.width)} × ${formatCount(facts.height)}`);
  if (facts.bytes) parts.push(formatBytes(facts.bytes));
  if (facts.kind === 'raw') parts.push(text.raw);
  if (!facts.file && parts.length === 0) return null;
  return (
    <>
      {facts.file}
      {facts.file && <br />}
      <span class="dim">{parts.join(' · ')}</span>
    </>
  );
}

function cameraLines(facts: PhotoFacts): ComponentChildren {
  const camera = facts.camera;
  if (!camera) return null;
  // Many makers repeat their name in the model.
  const repeats = camera.make && camera.model?.toLowerCase().startsWith(camera.make.toLowerCase().split(' ')[0]!);
  const name = [repeats ? '' : camera.make, camera.model].filter(Boolean).join(' ');
  const exposure: string[] = [];
  if (camera.focal) exposure.push(`${formatDecimal(camera.focal)} mm`);
  if (camera.aperture) exposure.push(`ƒ/${formatDecimal(camera.aperture)}`);
  if (camera.shutter) exposure.push(formatShutter(camera.shutter));
  if (camera.iso) exposure.push(`ISO ${camera.iso}`);
  const lines = [name, camera.lens ?? '', exposure.join(' · ')].filter(Boolean);
  if (lines.length === 0) return null;
  return lines.map((line, i) => (
    <span class={i === 0 ? 'block' : 'block dim'} key={i}>
      {line}
    </span>
  ));
}

function links(library: Library, lists: readonly Named[] | undefined): ComponentChildren {
  return (lists ?? []).map((list) => (
    <a class="chip" key={list.list} href={`/l/${library.id}/list/${listPath(list.list)}`}>
      {list.name || text.noName}
    </a>
  ));
}

function Position({ at }: { at: [number, number, number?] }) {
  const [latitude, longitude] = at;
  const map = `https://www.openstreetmap.org/?mlat=${latitude}&mlon=${longitude}#map=15/${latitude}/${longitude}`;
  return (
    <>
      {formatPosition(latitude, longitude, text.east)}
      <br />
      <a href={map} target="_blank" rel="noreferrer">
        {text.showOnMap}
      </a>{' '}
      <span class="dim">({text.leaves})</span>
    </>
  );
}
