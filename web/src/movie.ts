// A movie in the viewer: its poster, the player, the conversion of old formats, and a download where nothing helps.
import { getJson, type LibraryAddresses, type MovieState, type PhotoFacts } from './api';
import { formatDecimal } from './format';
import { iconPath } from './icons';
import { text } from './text';

export class Movie {
  readonly element = document.createElement('div');
  private readonly message = document.createElement('p');
  private readonly buttons = document.createElement('p');
  private video: HTMLVideoElement | undefined;
  private timer = 0;
  private isConverted = false;
  private hasPoster = true;
  private readonly stop = new AbortController();

  constructor(
    private readonly addresses: LibraryAddresses,
    private readonly id: number,
    /** For the movie of a live photo: it plays at once, without controls, and calls this at its end. */
    private readonly onEnded?: () => void,
  ) {
    this.element.className = 'movie';
    const poster = document.createElement('img');
    poster.src = addresses.preview(id);
    poster.alt = '';
    poster.className = 'poster';
    poster.draggable = false;
    poster.addEventListener('error', () => {
      this.hasPoster = false;
      poster.remove();
      this.video?.removeAttribute('poster');
    });
    const box = document.createElement('div');
    box.className = 'movie-box';
    this.message.setAttribute('role', 'status');
    box.append(this.buttons, this.message);
    this.element.append(poster, box);
    void this.start();
  }

  get playing(): boolean {
    return this.video !== undefined && !this.video.paused && !this.video.ended;
  }

  play(): void {
    void this.video?.play().catch(() => {});
  }

  pause(): void {
    this.video?.pause();
  }

  close(): void {
    this.stop.abort();
    clearTimeout(this.timer);
    if (!this.video) return;
    this.video.pause();
    // Ends the transfer.
    this.video.removeAttribute('src');
    this.video.load();
  }

  private async start(): Promise<void> {
    try {
      const facts = await getJson<PhotoFacts>(this.addresses.api(`photo/${this.id}`), this.stop.signal);
      const movie = this.onEnded ? facts.live : facts.movie;
      if (movie?.state === 'ready' && movie.url) this.showPlayer(movie.url, this.onEnded !== undefined);
      else if (movie?.state === 'convert' && this.onEnded) void this.convert();
      else if (movie?.state === 'convert') this.offerConversion();
      else this.offerDownload();
    } catch {
      if (!this.stop.signal.aborted) this.offerDownload();
    }
  }

  private showPlayer(url: string, playNow: boolean): void {
    const video = document.createElement('video');
    video.controls = this.onEnded === undefined;
    video.playsInline = true;
    video.preload = 'metadata';
    // Without one the browser shows the first frame.
    if (this.hasPoster) video.poster = this.addresses.preview(this.id);
    video.src = url;
    if (this.onEnded) video.addEventListener('ended', this.onEnded);
    video.addEventListener('error', () => {
      if (this.stop.signal.aborted) return;
      video.remove();
      this.video = undefined;
      // Some browsers play what others do not: the server converts it, too.
      if (this.isConverted) this.offerDownload();
      else void this.convert();
    });
    this.video = video;
    this.element.append(video);
    this.say('');
    this.buttons.replaceChildren();
    if (playNow) this.play();
  }

  private offerConversion(): void {
    const button = document.createElement('button');
    button.type = 'button';
    button.className = 'play';
    button.setAttribute('aria-label', text.convert);
    button.append(icon('slideshow'));
    button.addEventListener('click', () => {
      this.buttons.replaceChildren();
      void this.convert();
    });
    this.buttons.replaceChildren(button);
    this.say(text.convertNote);
  }

  private async convert(): Promise<void> {
    this.isConverted = true;
    await this.ask(true);
  }

  private async ask(start: boolean): Promise<void> {
    try {
      this.follow(await this.state(start));
    } catch {
      if (!this.stop.signal.aborted) this.offerDownload();
    }
  }

  private follow(state: MovieState): void {
    if (state.state === 'ready' && state.url) return this.showPlayer(state.url, true);
    if (state.state === 'none') return this.offerDownload();
    this.say(state.state === 'converting' ? text.converting(formatDecimal(state.percent ?? 0)) : text.waiting);
    // "convert": there was no room among those that wait.
    this.timer = window.setTimeout(() => void this.ask(state.state === 'convert'), 1000);
  }

  private state(start: boolean): Promise<MovieState> {
    const query = new URLSearchParams(start ? { start: '1' } : {});
    return getJson<MovieState>(this.addresses.api(`movie/${this.id}`, query), this.stop.signal);
  }

  private offerDownload(): void {
    if (this.onEnded) {
      this.buttons.replaceChildren();
      this.say(text.noLive);
      return;
    }
    const link = document.createElement('a');
    link.className = 'button';
    link.href = this.addresses.original(this.id);
    link.download = '';
    link.textContent = text.downloadMovie;
    this.buttons.replaceChildren(link);
    this.say(text.cannotPlay);
  }

  private say(message: string): void {
    this.message.textContent = message;
  }
}

export function icon(name: Parameters<typeof iconPath>[0]): SVGElement {
  const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
  svg.setAttribute('viewBox', '0 0 24 24');
  svg.setAttribute('class', 'icon');
  svg.setAttribute('aria-hidden', 'true');
  const path = document.createElementNS('http://www.w3.org/2000/svg', 'path');
  path.setAttribute('d', iconPath(name));
  svg.append(path);
  return svg;
}
