// The grid of photos: only the rows on the screen are in the document, and they are used again for other rows as the
// list scrolls. The scrolled element is at most 2,000,000 pixels high; a window of that height moves along the list.
//
// A plain class, not a component: it changes elements in each frame of scrolling.
import {
  baseFor,
  byMonth,
  GridLayout,
  joinMonths,
  maxScrollHeight,
  mustMove,
  tilesFor,
  type Row,
  type Section,
  type Tiles,
} from './layout';
import { flagEdited, flagFlagged, flagLive, flagMissing, flagMovie, flagRaw, type Photo, type PhotoList } from './photolist';
import { formatCount, formatDay, formatMoment, formatMonth } from './format';
import { text } from './text';

/** What the grid asks of its view. */
export interface GridHost {
  thumb(photo: Photo): string;
  href(photo: Photo): string;
  isSelected(id: number): boolean;
  /** Whether taps select instead of opening. */
  selecting(): boolean;
  open(index: number): void;
  select(index: number, range: boolean): void;
  selectSection(first: number, count: number): void;
  /** The visible part, or the layout, has changed. */
  moved(): void;
  /** The user pinched: a step to larger (1) or smaller (-1) tiles. */
  pinched(step: number): void;
}

/** A photo and its distance from the upper edge: what stays in place when the layout changes. */
export interface Anchor {
  index: number;
  offset: number;
}

/** Pictures are requested below this speed only, in pixels per millisecond. */
const fastest = 2;
/** Time for starting pictures in a frame, in milliseconds. */
const pictureBudget = 2.5;
const restOfPictures = 100;
const restOfScroll = 150;
const emptyPicture = 'data:image/gif;base64,R0lGODlhAQABAIAAAAAAAP///yH5BAEAAAAALAAAAAABAAEAAAIBRAA7';
const headingHeight = 44;

/** A tile's elements. */
interface Tile {
  link: HTMLAnchorElement;
  picture: HTMLImageElement;
  badges: HTMLElement;
  index: number;
  /** The photo that the elements show; 0: none yet. */
  shown: number;
  hasPicture: boolean;
}

interface RowElements {
  element: HTMLElement;
  row: Row | undefined;
  tiles: Tile[];
  /** Of a heading. */
  title: HTMLElement | undefined;
  /** Whether a tile lacks its photo or its picture. */
  incomplete: boolean;
}

export class Grid {
  layout = new GridLayout([], 1, 1, 0);
  /** The sections as shown: days, or months. */
  sections: Section[] = [];
  tiles: Tiles = { columns: 1, size: 1, gap: 0 };

  private list: PhotoList | undefined;
  private base = 0;
  private readonly canvas = document.createElement('div');
  private readonly rows = new Map<number, RowElements>();
  private spareRows: RowElements[] = [];
  private spareHeadings: RowElements[] = [];
  private frame = 0;
  private restTimer = 0;
  private moveTimer = 0;
  private lastY = 0;
  private lastTime = 0;
  private speed = 0;
  private fingers = 0;
  /** The tile that the keyboard is on. */
  private current = 0;
  private size = 3;
  private width = 0;
  private viewport = 0;
  private readonly resizes: ResizeObserver;
  private readonly stop = new AbortController();

  constructor(
    private readonly scroller: HTMLElement,
    private readonly host: GridHost,
  ) {
    this.canvas.className = 'canvas';
    this.canvas.setAttribute('role', 'grid');
    scroller.append(this.canvas);
    this.resizes = new ResizeObserver(() => this.resized());
    this.resizes.observe(scroller);
    this.listen();
  }

  close(): void {
    this.stop.abort();
    this.resizes.disconnect();
    cancelAnimationFrame(this.frame);
    clearTimeout(this.restTimer);
    clearTimeout(this.moveTimer);
    this.list?.close();
    this.canvas.remove();
  }

  /** Shows a list, from this photo on; without an anchor from its start or its end. */
  show(list: PhotoList, anchor: Anchor | 'start' | 'end'): void {
    this.list?.close();
    this.list = list;
    list.onPage = () => this.schedule();
    this.canvas.setAttribute('aria-label', list.title || text.photos);
    this.current = anchor === 'start' ? 0 : anchor === 'end' ? list.count - 1 : anchor.index;
    this.recycleAll();
    this.measure();
    this.arrange();
    if (anchor === 'start') this.jump(0);
    else if (anchor === 'end') this.jump(this.layout.height);
    else this.restore(anchor);
  }

  setSize(size: number): void {
    if (size === this.size) return;
    const anchor = this.middle();
    this.size = size;
    if (!this.list || this.width === 0) return;
    this.recycleAll();
    this.arrange();
    this.restore(anchor);
  }

  /** Height of the list above the upper edge. */
  get y(): number {
    return this.base + Math.max(0, this.scroller.scrollTop);
  }

  get height(): number {
    return this.layout.height;
  }

  get viewportHeight(): number {
    return this.viewport;
  }

  /** The photo at the upper edge. */
  anchor(): Anchor {
    const index = this.layout.indexAt(this.y);
    return { index, offset: this.layout.yOf(index) - this.y };
  }

  restore(anchor: Anchor): void {
    const index = Math.min(anchor.index, Math.max(0, this.layout.count - 1));
    this.jump(this.layout.count === 0 ? 0 : this.layout.yOf(index) - anchor.offset);
  }

  /** Scrolls as little as needed to have this photo on the screen. */
  reveal(index: number): void {
    this.current = index;
    const top = this.layout.yOf(index);
    if (top - headingHeight < this.y) this.jump(top - headingHeight);
    else if (top + this.layout.pitch > this.y + this.viewport) this.jump(top + this.layout.pitch - this.viewport);
    else this.render();
  }

  /** Brings a photo to the middle of the screen, unless a part of it is visible. */
  center(index: number): void {
    this.current = index;
    const top = this.layout.yOf(index);
    if (top + this.layout.pitch > this.y && top < this.y + this.viewport) this.render();
    else this.jump(top - (this.viewport - this.layout.pitch) / 2);
  }

  jump(y: number): void {
    const wanted = Math.min(Math.max(0, y), Math.max(0, this.layout.height - this.viewport));
    this.base = baseFor(wanted, this.layout.height);
    this.scroller.scrollTop = wanted - this.base;
    this.lastY = this.y;
    this.lastTime = performance.now();
    this.speed = 0;
    for (const elements of this.rows.values()) this.place(elements);
    this.render();
    this.waitForRest();
  }

  /** As jump, while a knob is dragged: without pictures until it rests. */
  drag(y: number): void {
    this.jump(y);
    this.speed = Infinity;
  }

  focusCurrent(): void {
    for (const { tiles } of this.rows.values())
      for (const tile of tiles)
        if (tile.index === this.current) {
          tile.link.focus({ preventScroll: true });
          return;
        }
  }

  /** Selected tiles, or the list's photos, have changed. */
  refresh(): void {
    for (const elements of this.rows.values()) {
      for (const tile of elements.tiles) tile.shown = 0;
      elements.incomplete = true;
    }
    this.schedule();
  }

  /** The screen shows the grid again after it was hidden. */
  resized(): void {
    const { width, viewport } = this;
    // The anchor must be taken before the measures change.
    const anchor = this.anchor();
    if (!this.measure()) return;
    if (this.width === width && this.viewport === viewport) return;
    if (this.width !== width && this.list) {
      this.recycleAll();
      this.arrange();
      this.restore(anchor);
    } else this.render();
  }

  private measure(): boolean {
    if (this.scroller.clientWidth === 0) return false;
    const style = getComputedStyle(this.scroller);
    this.width = this.scroller.clientWidth - parseFloat(style.paddingLeft) - parseFloat(style.paddingRight);
    this.viewport = this.scroller.clientHeight;
    return true;
  }

  private middle(): Anchor {
    const index = this.layout.indexAt(this.y + this.viewport / 2);
    return { index, offset: this.layout.yOf(index) - this.y };
  }

  private arrange(): void {
    const days = this.list!.sections;
    this.sections = byMonth(this.size) ? joinMonths(days) : days;
    this.tiles = tilesFor(this.width, this.size);
    const heading = this.list!.byDate ? headingHeight : 0;
    const counts = this.sections.map((section) => section.count);
    this.layout = new GridLayout(counts, this.tiles.columns, this.tiles.size + this.tiles.gap, heading);
    this.canvas.style.height = `${Math.min(this.layout.height, maxScrollHeight)}px`;
    this.canvas.style.setProperty('--tile', `${this.tiles.size}px`);
    this.canvas.style.setProperty('--gap', `${this.tiles.gap}px`);
    this.canvas.setAttribute('aria-rowcount', `${this.layout.rowCount}`);
    this.canvas.setAttribute('aria-colcount', `${this.tiles.columns}`);
    this.canvas.classList.toggle('small', this.tiles.size < 70);
  }

  // Frames

  private schedule(): void {
    if (!this.frame) this.frame = requestAnimationFrame(() => this.render());
  }

  private scrolled(): void {
    const now = performance.now();
    const y = this.y;
    // Events come late and then close together: one slow step does not mean that the list slows down.
    if (now > this.lastTime)
      this.speed = Math.max(Math.abs(y - this.lastY) / (now - this.lastTime), this.speed * 0.8);
    this.lastY = y;
    this.lastTime = now;
    this.schedule();
    this.waitForRest();
  }

  private waitForRest(): void {
    clearTimeout(this.restTimer);
    this.restTimer = window.setTimeout(() => {
      this.speed = 0;
      this.sortRows();
      this.schedule();
    }, restOfPictures);
    clearTimeout(this.moveTimer);
    this.moveTimer = window.setTimeout(() => this.moveWindow(), restOfScroll);
  }

  /** Moves the window at rest only: writing scrollTop while a finger or its momentum scrolls would stop it. */
  private moveWindow(): void {
    if (this.fingers > 0) this.waitForRest();
    else if (mustMove(this.base, this.scroller.scrollTop, this.viewport, this.layout.height)) {
      const { base, y } = this;
      this.base = baseFor(y, this.layout.height);
      this.scroller.scrollTop += base - this.base;
      for (const elements of this.rows.values()) this.place(elements);
    }
  }

  private render(): void {
    cancelAnimationFrame(this.frame);
    this.frame = 0;
    // Behind the viewer the list has no size and no place.
    if (!this.list || this.width === 0 || this.scroller.clientWidth === 0) return;
    const y = this.y;
    const ahead = this.layout.pitch;
    const wanted = this.layout.rowsBetween(y - ahead, y + this.viewport + ahead);
    this.recycle(wanted);
    for (const row of wanted) if (!this.rows.has(row.number)) this.use(row);
    this.requestPages(wanted);
    this.fill(wanted);
    this.host.moved();
  }

  private requestPages(rows: readonly Row[]): void {
    if (this.speed > fastest * 4) return;
    const photos = rows.filter((row) => !row.heading);
    const first = photos[0];
    const last = photos[photos.length - 1];
    if (first && last) this.list!.want(first.first, last.first + last.count - 1);
  }

  /** Completes rows within the frame's time; the rest follows in the next frames. */
  private fill(rows: readonly Row[]): void {
    const end = performance.now() + pictureBudget;
    const pictures = this.speed <= fastest;
    let unfinished = false;
    for (const row of rows) {
      const elements = this.rows.get(row.number);
      if (!elements?.incomplete) continue;
      if (performance.now() > end) {
        unfinished = true;
        break;
      }
      if (this.fillRow(elements, pictures, end)) unfinished = true;
    }
    if (unfinished) this.schedule();
  }

  /** Returns whether time ran out before the row was complete. */
  private fillRow(elements: RowElements, pictures: boolean, end: number): boolean {
    let complete = true;
    for (const tile of elements.tiles) {
      if (tile.index < 0) continue;
      const photo = this.list!.get(tile.index);
      if (!photo) {
        complete = false;
        continue;
      }
      if (tile.shown !== photo.id) this.describe(tile, photo);
      if (tile.hasPicture) continue;
      if (!pictures) complete = false;
      else if (performance.now() > end) return true;
      else {
        tile.picture.src = this.host.thumb(photo);
        tile.hasPicture = true;
      }
    }
    elements.incomplete = !complete;
    return false;
  }

  private describe(tile: Tile, photo: Photo): void {
    tile.shown = photo.id;
    tile.link.href = this.host.href(photo);
    const kind = photo.flags & flagMovie ? text.movie : text.photo;
    const when = photo.date === null ? text.noDate : formatMoment(photo.date);
    const stars = photo.rating ? `, ${text.nStars(photo.rating)}` : '';
    const flagged = photo.flags & flagFlagged ? `, ${text.flagged}` : '';
    tile.link.setAttribute('aria-label', `${kind}, ${when}${stars}${flagged}`);
    if (this.host.selecting()) {
      tile.link.setAttribute('aria-pressed', `${this.host.isSelected(photo.id)}`);
      tile.link.setAttribute('role', 'button');
    } else {
      tile.link.removeAttribute('aria-pressed');
      tile.link.removeAttribute('role');
    }
    tile.badges.className = badgeClasses(photo);
  }

  // Rows

  private recycle(wanted: readonly Row[]): void {
    const numbers = new Set(wanted.map((row) => row.number));
    for (const [number, elements] of this.rows) if (!numbers.has(number)) this.release(number, elements);
  }

  private recycleAll(): void {
    for (const [number, elements] of this.rows) this.release(number, elements);
    // Other sizes have other numbers of tiles.
    for (const elements of this.spareRows) elements.element.remove();
    this.spareRows = [];
  }

  private release(number: number, elements: RowElements): void {
    this.rows.delete(number);
    if (elements.element.contains(document.activeElement)) this.scroller.focus({ preventScroll: true });
    elements.element.style.display = 'none';
    for (const tile of elements.tiles) {
      if (tile.hasPicture) tile.picture.src = emptyPicture;
      tile.hasPicture = false;
      tile.shown = 0;
      tile.index = -1;
    }
    (elements.title ? this.spareHeadings : this.spareRows).push(elements);
  }

  private use(row: Row): void {
    const elements = row.heading
      ? (this.spareHeadings.pop() ?? this.createHeading())
      : (this.spareRows.pop() ?? this.createRow());
    elements.row = row;
    elements.element.style.display = '';
    elements.element.setAttribute('aria-rowindex', `${row.number + 1}`);
    if (row.heading) this.fillHeading(elements, row);
    else this.assignPhotos(elements, row);
    this.place(elements);
    if (!elements.element.parentNode) this.canvas.append(elements.element);
    this.rows.set(row.number, elements);
  }

  /** Makes the order of the document the order of the list, for screen readers. At rest: moving elements costs time. */
  private sortRows(): void {
    const focused = document.activeElement;
    const sorted = [...this.rows].sort(([a], [b]) => b - a);
    let next: Element | null = null;
    for (const [, { element }] of sorted) {
      if (element.nextElementSibling !== next) this.canvas.insertBefore(element, next);
      next = element;
    }
    // Moving an element takes the focus from it.
    if (focused instanceof HTMLElement && focused !== document.activeElement && this.canvas.contains(focused))
      focused.focus({ preventScroll: true });
  }

  private place(elements: RowElements): void {
    elements.element.style.transform = `translateY(${elements.row!.y - this.base}px)`;
  }

  private fillHeading(elements: RowElements, row: Row): void {
    const section = this.sections[row.section]!;
    const day = section.day;
    const title = day === null ? text.noDate : byMonth(this.size) ? formatMonth(day) : formatDay(day);
    elements.title!.firstChild!.nodeValue = title;
    const button = elements.title!.nextElementSibling as HTMLButtonElement;
    button.textContent = formatCount(section.count);
    button.setAttribute('aria-label', text.selectDay(title));
    button.hidden = !this.host.selecting();
  }

  private assignPhotos(elements: RowElements, row: Row): void {
    elements.tiles.forEach((tile, i) => {
      tile.index = i < row.count ? row.first + i : -1;
      tile.link.parentElement!.style.display = tile.index < 0 ? 'none' : '';
      tile.link.tabIndex = tile.index === this.current ? 0 : -1;
      if (tile.index < 0) return;
      tile.link.removeAttribute('href');
      tile.link.setAttribute('aria-label', text.photo);
      tile.badges.className = 'badges';
    });
    elements.incomplete = true;
  }

  private createHeading(): RowElements {
    const element = document.createElement('div');
    element.className = 'row heading';
    element.setAttribute('role', 'row');
    const cell = document.createElement('div');
    cell.setAttribute('role', 'rowheader');
    const title = document.createElement('span');
    title.append(document.createTextNode(''));
    const button = document.createElement('button');
    button.className = 'pill';
    button.hidden = true;
    cell.append(title, button);
    element.append(cell);
    return { element, row: undefined, tiles: [], title, incomplete: false };
  }

  private createRow(): RowElements {
    const element = document.createElement('div');
    element.className = 'row';
    element.setAttribute('role', 'row');
    const tiles: Tile[] = [];
    for (let i = 0; i < this.tiles.columns; i++) {
      const cell = document.createElement('div');
      cell.setAttribute('role', 'gridcell');
      const link = document.createElement('a');
      link.className = 'tile';
      const picture = document.createElement('img');
      picture.alt = '';
      picture.decoding = 'async';
      picture.draggable = false;
      const badges = document.createElement('span');
      badges.className = 'badges';
      link.append(picture, badges);
      cell.append(link);
      element.append(cell);
      tiles.push({ link, picture, badges, index: -1, shown: 0, hasPicture: false });
    }
    return { element, row: undefined, tiles, title: undefined, incomplete: true };
  }

  // Input

  private listen(): void {
    const { signal } = this.stop;
    const { scroller } = this;
    scroller.addEventListener('scroll', () => this.scrolled(), { passive: true, signal });
    scroller.addEventListener('click', (event) => this.clicked(event), { signal });
    scroller.addEventListener('keydown', (event) => this.key(event), { signal });
    scroller.addEventListener('focusin', (event) => this.focused(event), { signal });
    const touches = (event: TouchEvent) => (this.fingers = event.touches.length);
    scroller.addEventListener('touchstart', touches, { passive: true, signal });
    scroller.addEventListener('touchend', touches, { passive: true, signal });
    scroller.addEventListener('touchcancel', touches, { passive: true, signal });
    this.listenToPinches(signal);
  }

  private tileOf(target: EventTarget | null): Tile | undefined {
    const link = target instanceof Element ? target.closest('.tile') : null;
    if (!link) return undefined;
    for (const { tiles } of this.rows.values()) for (const tile of tiles) if (tile.link === link) return tile;
    return undefined;
  }

  private clicked(event: MouseEvent): void {
    const pill = event.target instanceof Element ? event.target.closest('.pill') : null;
    if (pill) this.clickedHeading(pill);
    const tile = this.tileOf(event.target);
    if (!tile || tile.index < 0) return;
    if (this.host.selecting()) {
      event.preventDefault();
      this.setCurrent(tile.index);
      this.host.select(tile.index, event.shiftKey);
    } else if (event.button === 0 && !event.metaKey && !event.ctrlKey && !event.shiftKey) {
      event.preventDefault();
      this.setCurrent(tile.index);
      this.host.open(tile.index);
    }
  }

  private clickedHeading(pill: Element): void {
    for (const { element, row } of this.rows.values())
      if (row && element.contains(pill))
        this.host.selectSection(this.layout.sectionFirst(row.section), this.sections[row.section]!.count);
  }

  private focused(event: FocusEvent): void {
    const tile = this.tileOf(event.target);
    if (tile && tile.index >= 0) this.setCurrent(tile.index);
  }

  private setCurrent(index: number): void {
    this.current = index;
    for (const { tiles } of this.rows.values())
      for (const tile of tiles) tile.link.tabIndex = tile.index === index ? 0 : -1;
  }

  private key(event: KeyboardEvent): void {
    if (event.altKey || event.metaKey) return;
    if (event.key === '+' || event.key === '-') {
      if (event.ctrlKey) return;
      event.preventDefault();
      this.host.pinched(event.key === '+' ? 1 : -1);
      return;
    }
    if (event.key === ' ' && this.host.selecting()) {
      const tile = this.tileOf(event.target);
      if (!tile) return;
      event.preventDefault();
      this.host.select(tile.index, event.shiftKey);
      return;
    }
    const next = this.target(event);
    if (next === undefined || this.layout.count === 0) return;
    event.preventDefault();
    this.reveal(Math.min(Math.max(0, next), this.layout.count - 1));
    this.setCurrent(this.current);
    this.focusCurrent();
  }

  /** The photo that a key moves to. */
  private target(event: KeyboardEvent): number | undefined {
    const page = Math.max(1, Math.floor(this.viewport / this.layout.pitch) - 1);
    switch (event.key) {
      case 'ArrowRight':
        return this.current + 1;
      case 'ArrowLeft':
        return this.current - 1;
      case 'ArrowDown':
        return this.layout.indexBelow(this.current, 1);
      case 'ArrowUp':
        return this.layout.indexBelow(this.current, -1);
      case 'PageDown':
        return this.layout.indexBelow(this.current, page);
      case 'PageUp':
        return this.layout.indexBelow(this.current, -page);
      case 'Home':
        return 0;
      case 'End':
        return this.layout.count - 1;
      default:
        return undefined;
    }
  }

  // Two fingers: as pointers, and as Safari's own gesture events.
  private listenToPinches(signal: AbortSignal): void {
    const { scroller } = this;
    const points = new Map<number, { x: number; y: number }>();
    let start = 0;
    const distance = () => {
      const [a, b] = [...points.values()];
      return a && b ? Math.hypot(a.x - b.x, a.y - b.y) : 0;
    };
    const follow = (event: PointerEvent) => {
      if (event.pointerType !== 'touch') return;
      if (event.type === 'pointermove' && !points.has(event.pointerId)) return;
      points.set(event.pointerId, { x: event.clientX, y: event.clientY });
      if (points.size !== 2) start = 0;
      else if (start === 0) start = distance();
      else start = this.pinchStep(start, distance());
    };
    const leave = (event: PointerEvent) => {
      points.delete(event.pointerId);
      start = 0;
    };
    scroller.addEventListener('pointerdown', follow, { signal });
    scroller.addEventListener('pointermove', follow, { signal });
    for (const name of ['pointerup', 'pointercancel', 'pointerleave'] as const)
      scroller.addEventListener(name, leave, { signal });
    let scale = 1;
    const gesture = (event: Event) => {
      event.preventDefault();
      if (event.type === 'gesturestart') scale = 1;
      else if (start === 0) scale = this.pinchStep(scale, (event as Event & { scale: number }).scale);
    };
    scroller.addEventListener('gesturestart', gesture, { signal });
    scroller.addEventListener('gesturechange', gesture, { signal });
  }

  /** Makes a step when two fingers are far enough from where they began; returns where the next step begins. */
  private pinchStep(from: number, to: number): number {
    if (from > 0 && to > from * 1.3) {
      this.host.pinched(1);
      return to;
    }
    if (to > 0 && to < from / 1.3) {
      this.host.pinched(-1);
      return to;
    }
    return from;
  }
}

function badgeClasses(photo: Photo): string {
  let classes = 'badges';
  if (photo.flags & flagMovie) classes += ' movie';
  if (photo.flags & flagFlagged) classes += ' flagged';
  if (photo.flags & flagRaw) classes += ' raw';
  if (photo.flags & flagLive) classes += ' live';
  if (photo.flags & flagEdited) classes += ' edited';
  if (photo.flags & flagMissing) classes += ' missing';
  return classes;
}
