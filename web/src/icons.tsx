// Icons as paths of 24 by 24 units, drawn with lines.
const paths = {
  photos: 'M4 5h16v14H4z M4 16l5-5 4 4 3-3 4 4 M15.5 9.5h.01',
  albums: 'M5 8h14v12H5z M7 5h10 M9 2.5h6',
  events: 'M4 6h16v14H4z M4 10h16 M8 3v4 M16 3v4',
  people: 'M12 12a4 4 0 1 0 0-8 4 4 0 0 0 0 8z M4.5 20.5c.7-4 3.7-6 7.5-6s6.8 2 7.5 6',
  keywords: 'M3 4h8.5l9 9-7.5 7.5-9-9V4z M7.5 8h.01',
  search: 'M10.5 17a6.5 6.5 0 1 0 0-13 6.5 6.5 0 0 0 0 13z M15.3 15.3 21 21',
  flagged: 'M6 21V4 M6 4h12l-2.5 4.5L18 13H6',
  movies: 'M3 6h12v12H3z M15 10l6-3v10l-6-3',
  today: 'M4 6h16v14H4z M4 10h16 M8 3v4 M16 3v4 M12 13v3l2 1',
  libraries: 'M4 4v16 M8 4v16 M12 4v16 M15 5l5 14.5',
  filter: 'M4 6h16 M7 12h10 M10 18h4',
  select: 'M12 21a9 9 0 1 0 0-18 9 9 0 0 0 0 18z M8 12l3 3 5-6',
  more: 'M6 12a1 1 0 1 1-2 0a1 1 0 1 1 2 0z M13 12a1 1 0 1 1-2 0a1 1 0 1 1 2 0z M20 12a1 1 0 1 1-2 0a1 1 0 1 1 2 0z',
  slideshow: 'M7 4.5v15l12-7.5z',
  pause: 'M8 5v14 M16 5v14',
  download: 'M12 4v11 M7 11l5 5 5-5 M4 20h16',
  plus: 'M12 5v14 M5 12h14',
  minus: 'M5 12h14',
  close: 'M6 6l12 12 M18 6 6 18',
  back: 'M15 5l-7 7 7 7',
  next: 'M9 5l7 7-7 7',
  info: 'M12 21a9 9 0 1 0 0-18 9 9 0 0 0 0 18z M12 11v6 M12 7.5h.01',
  faces: 'M4 8V4h4 M20 8V4h-4 M4 16v4h4 M20 16v4h-4 M9 10h.01 M15 10h.01 M8.5 14.5c2 2 5 2 7 0',
  live: 'M12 21a9 9 0 1 0 0-18 9 9 0 0 0 0 18z M12 16a4 4 0 1 0 0-8 4 4 0 0 0 0 8z M12 12h.01',
  folder: 'M3 6h7l2 2h9v11H3z',
} as const;

export type IconName = keyof typeof paths;

export function iconPath(name: IconName): string {
  return paths[name];
}

export function Icon({ name }: { name: IconName }) {
  return (
    <svg class="icon" viewBox="0 0 24 24" aria-hidden="true" focusable="false">
      <path d={paths[name]} />
    </svg>
  );
}
