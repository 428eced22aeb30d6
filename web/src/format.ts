// Numbers, dates and sizes in the user's language. Dates are the photo's own wall clock: they are formatted as if UTC.
import { language } from './text';

function dates(options: Intl.DateTimeFormatOptions): Intl.DateTimeFormat {
  return new Intl.DateTimeFormat(language, { ...options, timeZone: 'UTC' });
}

const dayFormat = dates({ weekday: 'long', day: 'numeric', month: 'long', year: 'numeric' });
const monthFormat = dates({ month: 'long', year: 'numeric' });
const shortDayFormat = dates({ day: 'numeric', month: 'short', year: 'numeric' });
const timeFormat = dates({ hour: '2-digit', minute: '2-digit' });
const dayMonthFormat = dates({ day: 'numeric', month: 'long' });

function ofDay(day: number): Date {
  return new Date(day * 86_400_000);
}

export function formatDay(day: number): string {
  return dayFormat.format(ofDay(day));
}

export function formatMonth(day: number): string {
  return monthFormat.format(ofDay(day));
}

/** "4 July 2009 – 9 July 2009", or one day. */
export function formatDays(first?: number | null, last?: number | null): string {
  if (first === undefined || first === null) return '';
  if (last === undefined || last === null || last === first) return shortDayFormat.format(ofDay(first));
  return shortDayFormat.formatRange(ofDay(first), ofDay(last));
}

/** Seconds since 1970 of a wall clock. */
export function formatMoment(seconds: number): string {
  const date = new Date(seconds * 1000);
  return `${shortDayFormat.format(date)}, ${timeFormat.format(date)}`;
}

/** "2009-07-04T13:22:10" of a wall clock: the day and the time. */
export function formatWallClock(text: string): { day: string; time: string } {
  const date = new Date(text.endsWith('Z') ? text : text + 'Z');
  if (Number.isNaN(date.getTime())) return { day: text, time: '' };
  return { day: dayFormat.format(date), time: timeFormat.format(date) };
}

/** A time zone: "Europe/Zurich" as it is, one without a name such as "GMT-0700" or "UTC+05:30" as "UTC−7", "UTC+5:30". */
export function formatZone(zone: string): string {
  const offset = /^(?:GMT|UTC)(?:([+-])(\d\d?)(?::?(\d\d))?)?$/.exec(zone);
  if (!offset) return zone;
  const hours = Number(offset[2] ?? 0);
  const minutes = offset[3] ?? '00';
  if (hours === 0 && minutes === '00') return 'UTC';
  return `UTC${offset[1] === '-' ? '−' : '+'}${hours}${minutes === '00' ? '' : `:${minutes}`}`;
}

/** "07-04" as "July 4". */
export function formatMonthDay(text: string): string {
  const date = new Date(`2000-${text}T00:00:00Z`);
  return Number.isNaN(date.getTime()) ? text : dayMonthFormat.format(date);
}

const counts = new Intl.NumberFormat(language);
export function formatCount(n: number): string {
  return counts.format(n);
}

/** Bytes in units of 1,000, as file managers show them. */
export function formatBytes(bytes: number): string {
  const units = ['byte', 'kilobyte', 'megabyte', 'gigabyte', 'terabyte'];
  let unit = 0;
  let value = bytes;
  while (value >= 999.5 && unit < units.length - 1) {
    value /= 1000;
    unit++;
  }
  const digits = value < 10 && unit > 0 ? 1 : 0;
  return new Intl.NumberFormat(language, {
    style: 'unit',
    unit: units[unit]!,
    unitDisplay: 'short',
    maximumFractionDigits: digits,
  }).format(value);
}

/** Seconds of an exposure: "1/250 s", "0.8 s", "2 s". */
export function formatShutter(seconds: number): string {
  if (seconds > 0 && seconds < 0.4) return `1/${Math.round(1 / seconds)} s`;
  return `${formatDecimal(seconds)} s`;
}

export function formatDecimal(value: number): string {
  return new Intl.NumberFormat(language, { maximumFractionDigits: 1 }).format(value);
}

/** "47.3712° N, 8.5410° E" */
export function formatPosition(latitude: number, longitude: number, east: string): string {
  const number = new Intl.NumberFormat(language, { minimumFractionDigits: 4, maximumFractionDigits: 4 });
  const ns = latitude < 0 ? 'S' : 'N';
  const ew = longitude < 0 ? 'W' : east;
  return `${number.format(Math.abs(latitude))}° ${ns}, ${number.format(Math.abs(longitude))}° ${ew}`;
}
