// The panel with the filters of a list, and the line that names those in use.
import { noFilters, type Filters } from './route';
import { text } from './text';

interface Props {
  filters: Filters;
  onChange: (filters: Filters) => void;
}

export function FilterPanel({ filters, onChange }: Props) {
  const exactly = filters.stars > 0;
  const stars = filters.rating || filters.stars;
  const rate = (n: number, exact: boolean) =>
    onChange({ ...filters, rating: exact ? 0 : n, stars: exact ? n : 0 });
  return (
    <div class="filters">
      <Check label={text.onlyFlagged} on={filters.flagged} set={(flagged) => onChange({ ...filters, flagged })} />
      <Check label={text.onlyMovies} on={filters.movies} set={(movies) => onChange({ ...filters, movies })} />
      <Check label={text.rejectedToo} on={filters.rejected} set={(rejected) => onChange({ ...filters, rejected })} />
      <fieldset>
        <legend>{text.rating}</legend>
        <div class="stars">
          {[1, 2, 3, 4, 5].map((n) => (
            <button
              type="button"
              key={n}
              class={n <= stars ? 'star on' : 'star'}
              aria-label={text.nStars(n)}
              aria-pressed={n === stars}
              onClick={() => rate(n === stars ? 0 : n, exactly)}
            >
              ★
            </button>
          ))}
          <select
            aria-label={text.rating}
            value={exactly ? 'exactly' : 'least'}
            disabled={stars === 0}
            onChange={(event) => rate(stars, event.currentTarget.value === 'exactly')}
          >
            <option value="least">{text.atLeast}</option>
            <option value="exactly">{text.exactly}</option>
          </select>
        </div>
      </fieldset>
      <fieldset>
        <legend>{text.label}</legend>
        <div class="labels">
          {text.labels.map((name, i) => (
            <button
              type="button"
              key={name}
              class={`label label-${i + 1}`}
              title={name}
              aria-label={name}
              aria-pressed={filters.label === i + 1}
              onClick={() => onChange({ ...filters, label: filters.label === i + 1 ? 0 : i + 1 })}
            />
          ))}
        </div>
      </fieldset>
    </div>
  );
}

function Check(props: { label: string; on: boolean; set: (on: boolean) => void }) {
  return (
    <label class="check">
      <input type="checkbox" checked={props.on} onChange={(event) => props.set(event.currentTarget.checked)} />
      <span>{props.label}</span>
    </label>
  );
}

/** The filters in use, each with a button that removes it. */
export function FilterLine({ filters, onChange }: Props) {
  const used: [string, Partial<Filters>][] = [];
  if (filters.flagged) used.push([text.onlyFlagged, { flagged: false }]);
  if (filters.movies) used.push([text.onlyMovies, { movies: false }]);
  if (filters.rejected) used.push([text.rejectedToo, { rejected: false }]);
  if (filters.rating) used.push([`${text.atLeast} ${text.nStars(filters.rating)}`, { rating: 0 }]);
  if (filters.stars) used.push([`${text.exactly} ${text.nStars(filters.stars)}`, { stars: 0 }]);
  if (filters.label) used.push([text.labels[filters.label - 1] ?? text.label, { label: 0 }]);
  if (used.length === 0) return null;
  return (
    <div class="filter-line" role="group" aria-label={text.filter}>
      {used.map(([name, without]) => (
        <button type="button" class="chip" key={name} onClick={() => onChange({ ...filters, ...without })}>
          {name} <span aria-hidden="true">×</span>
        </button>
      ))}
      <button type="button" class="chip plain" onClick={() => onChange(noFilters)}>
        {text.clearFilters}
      </button>
    </div>
  );
}
