// The viewer: one photo or movie at a time over the whole page, by PhotoSwipe. It goes through the whole list, beyond
// the pages that are loaded. Loaded on the first tap.
import PhotoSwipe, { type SlideData } from 'photoswipe';
import { h, render } from 'preact';
import { getJson, type PhotoFacts } from './api';
import { formatCount, formatMoment } from './format';
import { iconPath, type IconName } from './icons';
import { InfoPanel } from './info';
import type { Context } from './list';
import { Movie } from './movie';
import { flagLive, flagMovie, type Photo, type PhotoList } from './photolist';
import { text } from './text';
import { keepSetting, readSetting } from './use';

export interface ViewerOptions {
  context: Context;
  list: PhotoList;
  index: number;
  slideshow: boolean;
  /** Another photo is shown. */
  onPhoto: (id: number) => void;
  /** The viewer closes; this photo was shown last. */
  onClosed: (index: number) => void;
}

export function openViewer(options: ViewerOptions): Viewer {
  return new Viewer(options);
}

/** Longer sides of the pictures that the server makes, in pixels. */
const previewSide = 2048;
const largeSide = 4096;
const slideshowSeconds = 4;
/** Sizes of the information in viewer.css: of the panel in pixels, of the sheet as a part of the height. */
const panelWidth = 360;
const sheetPart = 0.58;

export class Viewer {
  list: PhotoList;
  /** The id of the photo that is shown; 0: not loaded yet. */
  photo = 0;

  private readonly pswp: PhotoSwipe;
  private readonly panel = document.createElement('aside');
  private readonly live = document.createElement('p');
  private counter: HTMLElement | undefined;
  private infoIsOpen = false;
  private facesAreShown = false;
  private faceLayer: HTMLElement | undefined;
  private timer = 0;
  private isClosed = false;
  private readonly movies = new Map<number, Movie>();
  private livePhoto: Movie | undefined;

  constructor(private readonly options: ViewerOptions) {
    this.list = options.list;
    this.pswp = new PhotoSwipe({
      index: options.index,
      dataSource: [],
      loop: false,
      preload: [1, 1],
      wheelToZoom: true,
      bgOpacity: 1,
      counter: false,
      showHideAnimationType: prefersLessMotion() ? 'none' : 'fade',
      showAnimationDuration: 150,
      hideAnimationDuration: 150,
      mainClass: 'viewer',
      closeTitle: text.close,
      zoomTitle: text.zoom,
      arrowPrevTitle: text.previous,
      arrowNextTitle: text.next,
      errorMsg: options.context.library.pictures === 'jpeg' ? text.noDecoder : text.pictureFailed,
      getViewportSizeFn: () => this.viewport(),
    });
    this.addFilters();
    this.addEvents();
    this.pswp.init();
  }

  close(): void {
    if (this.isClosed) return;
    // While it opens, PhotoSwipe ignores a wish to close.
    if (this.pswp.opener.isOpen) this.pswp.close();
    else this.pswp.on('openingAnimationEnd', () => this.pswp.close());
  }

  /** Goes on in another list, or to another photo of the same one. */
  show(list: PhotoList, index: number): void {
    this.list = list;
    this.pswp.goTo(index);
    for (let i = index - 1; i <= index + 1; i++) this.pswp.refreshSlideContent(i);
    this.changed();
  }

  // Slides

  private addFilters(): void {
    this.pswp.addFilter('numItems', () => this.list.count);
    this.pswp.addFilter('itemData', (_data: SlideData, index: number) => this.slide(index));
  }

  private slide(index: number): SlideData {
    const photo = this.list.get(index);
    if (!photo) {
      void this.list.fetch(index).then((loaded) => {
        if (!loaded || this.isClosed) return;
        this.pswp.refreshSlideContent(index);
        if (index === this.pswp.currIndex) this.changed();
      });
      return { html: '<div class="waiting"></div>' };
    }
    return photo.flags & flagMovie ? this.movieSlide(photo) : this.photoSlide(photo);
  }

  private movieSlide(photo: Photo): SlideData {
    // Old movies have few pixels: they fill the screen all the same.
    const scale = Math.max(1, previewSide / Math.max(photo.width, photo.height));
    return { type: 'movie', id: photo.id, width: photo.width * scale, height: photo.height * scale };
  }

  private photoSlide(photo: Photo): SlideData {
    const { addresses } = this.options.context;
    const longer = Math.max(photo.width, photo.height);
    const at = (side: number) => Math.min(1, side / longer);
    const preview = Math.round(photo.width * at(previewSide));
    const large = Math.round(photo.width * at(largeSide));
    const data: SlideData = {
      id: photo.id,
      src: addresses.preview(photo.id),
      msrc: addresses.thumb(photo.id),
      width: large,
      height: Math.round(photo.height * at(largeSide)),
      alt: describe(photo),
    };
    if (longer > previewSide)
      data.srcset = `${addresses.preview(photo.id)} ${preview}w, ${addresses.large(photo.id)} ${large}w`;
    return data;
  }

  private addEvents(): void {
    const { pswp } = this;
    pswp.on('uiRegister', () => this.addButtons());
    pswp.on('afterInit', () => this.begin());
    pswp.on('openingAnimationEnd', () => pswp.element?.classList.add('ready'));
    pswp.on('change', () => this.changed());
    pswp.on('imageSizeChange', () => this.fitFaces());
    pswp.on('keydown', ({ originalEvent }) => this.key(originalEvent));
    pswp.on('contentLoad', (event) => {
      if (event.content.type !== 'movie') return;
      event.preventDefault();
      const id = event.content.data['id'] as number;
      const movie = new Movie(this.options.context.addresses, id);
      this.movies.set(event.content.index, movie);
      event.content.element = movie.element;
      event.content.state = 'loaded';
      event.content.onLoaded();
    });
    pswp.on('contentDeactivate', ({ content }) => this.movies.get(content.index)?.pause());
    pswp.on('contentActivate', ({ content }) => {
      if (this.timer) this.movies.get(content.index)?.play();
    });
    pswp.on('contentDestroy', ({ content }) => {
      this.movies.get(content.index)?.close();
      this.movies.delete(content.index);
    });
    pswp.on('close', () => this.end());
    pswp.on('destroy', () => render(null, this.panel));
  }

  private begin(): void {
    const root = this.pswp.element!;
    root.setAttribute('aria-label', text.photo);
    root.setAttribute('aria-modal', 'true');
    this.panel.className = 'info-panel';
    this.panel.hidden = true;
    this.panel.setAttribute('aria-label', text.info);
    this.live.className = 'unseen';
    this.live.setAttribute('aria-live', 'polite');
    root.append(this.panel, this.live);
    if (readSetting('info', '') === 'open' && isWide()) this.toggleInfo();
    if (this.options.slideshow) this.toggleSlideshow();
    this.changed();
  }

  private end(): void {
    this.isClosed = true;
    this.stopSlideshow();
    if (document.fullscreenElement) void document.exitFullscreen();
    for (const movie of this.movies.values()) movie.pause();
    this.stopLive();
    this.options.onClosed(this.pswp.currIndex);
  }

  private changed(): void {
    const photo = this.list.get(this.pswp.currIndex);
    this.clearFaces();
    if (this.photo !== photo?.id) this.stopLive();
    const live = this.button('live');
    if (live) live.hidden = !(photo && photo.flags & flagLive);
    if (!photo) {
      this.photo = 0;
      return;
    }
    const isNew = this.photo !== photo.id;
    this.photo = photo.id;
    if (isNew) this.options.onPhoto(photo.id);
    const place = text.ofCount(formatCount(this.pswp.currIndex + 1), formatCount(this.list.count));
    this.live.textContent = `${describe(photo)}, ${place}`;
    if (this.counter) this.counter.textContent = place;
    if (this.infoIsOpen) this.renderInfo();
    if (this.facesAreShown) void this.drawFaces();
  }

  // Buttons and keys

  private addButtons(): void {
    this.pswp.ui!.registerElement({
      name: 'place',
      className: 'pswp__counter',
      order: 5,
      onInit: (element) => {
        this.counter = element;
      },
    });
    this.addButton('live', 7, text.playLive, () => this.toggleLive());
    this.addButton('slideshow', 9, text.slideshow, () => this.toggleSlideshow());
    this.addButton('faces', 8, text.faces, () => this.toggleFaces(), this.options.context.library.people);
    this.addButton('download', 11, text.download, () => this.showDownloads());
    this.addButton('info', 12, text.info, () => this.toggleInfo());
  }

  private addButton(name: IconName, order: number, title: string, onClick: () => void, isShown = true): void {
    if (!isShown) return;
    this.pswp.ui!.registerElement({
      name,
      order,
      isButton: true,
      title,
      html: `<svg class="icon" viewBox="0 0 24 24" aria-hidden="true"><path d="${iconPath(name)}"/></svg>`,
      onClick,
    });
  }

  private button(name: string): HTMLElement | null {
    return this.pswp.element?.querySelector<HTMLElement>(`.pswp__button--${name}`) ?? null;
  }

  private key(event: KeyboardEvent): void {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    if (event.target instanceof HTMLVideoElement) return;
    const actions: Record<string, () => void> = {
      i: () => this.toggleInfo(),
      n: () => this.toggleFaces(),
      l: () => this.toggleLive(),
      s: () => this.toggleSlideshow(),
      d: () => this.showDownloads(),
      Home: () => this.pswp.goTo(0),
      End: () => this.pswp.goTo(this.list.count - 1),
    };
    const action = actions[event.key];
    if (!action) return;
    event.preventDefault();
    action();
  }

  // Information

  private viewport(): { x: number; y: number } {
    const width = document.documentElement.clientWidth;
    const height = window.innerHeight;
    if (!this.infoIsOpen) return { x: width, y: height };
    return isWide() ? { x: width - panelWidth, y: height } : { x: width, y: height * (1 - sheetPart) };
  }

  private toggleInfo(): void {
    this.infoIsOpen = !this.infoIsOpen;
    keepSetting('info', this.infoIsOpen ? 'open' : '');
    this.panel.hidden = !this.infoIsOpen;
    this.pswp.element!.classList.toggle('with-info', this.infoIsOpen);
    this.button('info')?.setAttribute('aria-pressed', `${this.infoIsOpen}`);
    if (this.infoIsOpen) this.renderInfo();
    this.pswp.updateSize(true);
  }

  private showDownloads(): void {
    if (!this.infoIsOpen) this.toggleInfo();
    this.panel.querySelector('a')?.focus();
  }

  private renderInfo(): void {
    const { library, addresses } = this.options.context;
    const onClose = () => {
      this.toggleInfo();
      this.button('info')?.focus();
    };
    render(h(InfoPanel, { library, addresses, photo: this.photo, onClose }), this.panel);
  }

  // Names of people

  private toggleFaces(): void {
    this.facesAreShown = !this.facesAreShown;
    this.button('faces')?.setAttribute('aria-pressed', `${this.facesAreShown}`);
    this.clearFaces();
    if (this.facesAreShown) void this.drawFaces();
  }

  private clearFaces(): void {
    this.faceLayer?.remove();
    this.faceLayer = undefined;
  }

  private async drawFaces(): Promise<void> {
    const id = this.photo;
    const { addresses } = this.options.context;
    const facts = await getJson<PhotoFacts>(addresses.api(`photo/${id}`)).catch(() => undefined);
    const slide = this.pswp.currSlide;
    if (!facts?.people || this.photo !== id || this.isClosed || !slide || !this.facesAreShown) return;
    this.clearFaces();
    const layer = document.createElement('div');
    layer.className = 'faces';
    for (const { name, rect } of facts.people) {
      if (!rect) continue;
      const box = document.createElement('div');
      box.className = 'face-box';
      const [x, y, width, height] = rect.map((part) => `${part * 100}%`);
      Object.assign(box.style, { left: x, top: y, width, height });
      const label = document.createElement('span');
      label.textContent = name;
      box.append(label);
      layer.append(box);
    }
    slide.container.append(layer);
    this.faceLayer = layer;
    this.fitFaces();
  }

  /** PhotoSwipe gives the picture another size when it is zoomed; the layer has the same one. */
  private fitFaces(): void {
    const picture = this.pswp.currSlide?.content.element;
    if (!this.faceLayer || !picture) return;
    this.faceLayer.style.width = picture.style.width;
    this.faceLayer.style.height = picture.style.height;
  }

  // Live photos

  private toggleLive(): void {
    const photo = this.list.get(this.pswp.currIndex);
    const slide = this.pswp.currSlide;
    if (this.livePhoto) return this.stopLive();
    if (!photo || !(photo.flags & flagLive) || !slide?.holderElement) return;
    this.livePhoto = new Movie(this.options.context.addresses, photo.id, () => this.stopLive());
    this.livePhoto.element.classList.add('live');
    slide.holderElement.append(this.livePhoto.element);
    this.button('live')?.setAttribute('aria-pressed', 'true');
  }

  private stopLive(): void {
    this.livePhoto?.close();
    this.livePhoto?.element.remove();
    this.livePhoto = undefined;
    this.button('live')?.setAttribute('aria-pressed', 'false');
  }

  // Slideshow

  private toggleSlideshow(): void {
    if (this.timer) {
      this.stopSlideshow();
      return;
    }
    this.timer = window.setInterval(() => this.advance(), slideshowSeconds * 1000);
    this.pswp.element!.classList.remove('pswp--ui-visible');
    this.setSlideshowButton(true);
    void document.documentElement.requestFullscreen?.().catch(() => {});
  }

  private stopSlideshow(): void {
    clearInterval(this.timer);
    this.timer = 0;
    this.setSlideshowButton(false);
  }

  private setSlideshowButton(isRunning: boolean): void {
    const button = this.button('slideshow');
    button?.querySelector('path')?.setAttribute('d', iconPath(isRunning ? 'pause' : 'slideshow'));
    const title = isRunning ? text.stopSlideshow : text.slideshow;
    button?.setAttribute('title', title);
    button?.setAttribute('aria-label', title);
  }

  /** The next photo, once this one is there; a movie plays to its end. */
  private advance(): void {
    const content = this.pswp.currSlide?.content;
    if (content?.state === 'loading' || this.movies.get(this.pswp.currIndex)?.playing) return;
    if (this.pswp.currIndex + 1 < this.list.count) this.pswp.next();
    else this.stopSlideshow();
  }
}

function describe(photo: Photo): string {
  const kind = photo.flags & flagMovie ? text.movie : text.photo;
  return `${kind}, ${photo.date === null ? text.noDate : formatMoment(photo.date)}`;
}

function isWide(): boolean {
  return matchMedia('(min-width: 800px)').matches;
}

function prefersLessMotion(): boolean {
  return matchMedia('(prefers-reduced-motion: reduce)').matches;
}
