// The dialog that downloads a list as a zip file: its count and size are shown first.
import { useState } from 'preact/hooks';
import { listPath, type LibraryAddresses, type ZipSize } from './api';
import { formatBytes, formatCount } from './format';
import { Dialog } from './parts';
import { text } from './text';
import { useJson } from './use';

const kinds = ['original', 'edited', 'both'] as const;

export function DownloadDialog(props: {
  addresses: LibraryAddresses;
  list: string;
  title: string;
  filters: URLSearchParams;
  onClose: () => void;
}) {
  const [what, setWhat] = useState<(typeof kinds)[number]>('original');
  const query = new URLSearchParams(props.filters);
  query.set('what', what);
  const path = `zip/${listPath(props.list)}`;
  const size = useJson<ZipSize>(props.addresses.api(path, query));
  const names = { original: text.originals, edited: text.edited, both: text.both };
  return (
    <Dialog title={text.downloadTitle(props.title)} onClose={props.onClose}>
      <div class="choices" role="radiogroup" aria-label={text.download}>
        {kinds.map((kind) => (
          <label class="check" key={kind}>
            <input type="radio" name="what" checked={what === kind} onChange={() => setWhat(kind)} />
            <span>{names[kind]}</span>
          </label>
        ))}
      </div>
      <p class="dim" aria-live="polite">
        <SizeLine size={size.data} failed={size.failed} />
      </p>
      <p class="dim">{text.zipNote}</p>
      <div class="buttons">
        <button type="button" class="button plain" onClick={props.onClose}>
          {text.cancel}
        </button>
        {size.data && size.data.count > 0 ? (
          <a class="button" href={props.addresses.zip(props.list, query)} download="" onClick={props.onClose}>
            {text.download}
          </a>
        ) : (
          <button type="button" class="button" disabled>
            {text.download}
          </button>
        )}
      </div>
    </Dialog>
  );
}

function SizeLine({ size, failed }: { size: ZipSize | undefined; failed: number | undefined }) {
  if (failed === 413) return <>{text.zipTooLarge}</>;
  if (failed !== undefined) return <>{text.cannotCount}</>;
  if (!size) return <>{text.counting}</>;
  return <>{text.asZip(text.nPhotos(size.count, formatCount(size.count)), formatBytes(size.bytes))}</>;
}
