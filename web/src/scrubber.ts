// The bar beside the grid: years where they begin, and a knob that goes anywhere in the list. Only the knob takes
// touches, so that tiles below the bar can be tapped; with a mouse the whole bar does.
import type { Grid } from './grid';
import { formatMonth } from './format';
import { marksThatFit, yearMarks } from './layout';
import { text } from './text';

export class Scrubber {
  private readonly bar = document.createElement('div');
  private readonly knob = document.createElement('div');
  private readonly bubble = document.createElement('span');
  private readonly years = document.createElement('div');
  private marks: { year: number; y: number }[] = [];
  /** Pixels that the knob can move. Kept, because asking for it in each frame would lay out the page once more. */
  private way = 0;
  private hideTimer = 0;
  private frame = 0;
  private wanted = 0;

  constructor(
    parent: HTMLElement,
    private readonly grid: Grid,
  ) {
    this.bar.className = 'scrubber';
    this.years.className = 'years';
    this.years.setAttribute('aria-hidden', 'true');
    this.knob.className = 'knob';
    this.knob.tabIndex = 0;
    this.knob.setAttribute('role', 'slider');
    this.knob.setAttribute('aria-orientation', 'vertical');
    this.knob.setAttribute('aria-label', text.years);
    this.knob.setAttribute('aria-valuemin', '0');
    this.knob.setAttribute('aria-valuemax', '100');
    this.bubble.className = 'bubble';
    this.knob.append(this.bubble);
    this.bar.append(this.years, this.knob);
    parent.append(this.bar);
    this.listen();
  }

  close(): void {
    clearTimeout(this.hideTimer);
    cancelAnimationFrame(this.frame);
    this.bar.remove();
  }

  /** After the list or the layout has changed. */
  arrange(): void {
    const { grid } = this;
    this.marks = yearMarks(grid.sections, grid.layout);
    const needed = grid.height > grid.viewportHeight * 2;
    this.bar.hidden = !needed;
    if (!needed) return;
    const length = this.bar.clientHeight;
    this.way = length - this.knob.offsetHeight;
    this.years.replaceChildren(
      ...marksThatFit(this.marks, grid.height, length, 22).map((mark) => {
        const element = document.createElement('span');
        element.textContent = `${mark.year}`;
        element.style.top = `${(mark.y / grid.height) * 100}%`;
        return element;
      }),
    );
    this.moved();
  }

  /** After scrolling. */
  moved(): void {
    if (this.bar.hidden) return;
    const { grid } = this;
    const part = Math.min(1, grid.y / Math.max(1, grid.height - grid.viewportHeight));
    this.knob.style.transform = `translateY(${part * this.way}px)`;
    const label = this.label();
    if (this.bubble.textContent !== label) {
      this.bubble.textContent = label;
      this.knob.setAttribute('aria-valuetext', label);
      this.knob.setAttribute('aria-valuenow', `${Math.round(part * 100)}`);
    }
    this.show();
  }

  private label(): string {
    const { grid } = this;
    const section = grid.sections[grid.layout.sectionAt(grid.y + 1)];
    if (!section) return '';
    return section.day === null ? text.noDate : formatMonth(section.day);
  }

  private show(): void {
    this.bar.classList.add('awake');
    clearTimeout(this.hideTimer);
    this.hideTimer = window.setTimeout(() => this.bar.classList.remove('awake'), 1500);
  }

  private listen(): void {
    let grip = -1;
    const drag = (event: PointerEvent) => {
      const box = this.bar.getBoundingClientRect();
      const height = this.knob.offsetHeight;
      const part = (event.clientY - box.top - grip) / Math.max(1, box.height - height);
      this.dragTo(Math.min(1, Math.max(0, part)));
    };
    this.bar.addEventListener('pointerdown', (event) => {
      event.preventDefault();
      const onKnob = this.knob.contains(event.target as Node);
      grip = onKnob ? event.clientY - this.knob.getBoundingClientRect().top : this.knob.offsetHeight / 2;
      this.bar.setPointerCapture(event.pointerId);
      this.bar.classList.add('dragged');
      if (!onKnob) drag(event);
    });
    this.bar.addEventListener('pointermove', (event) => {
      if (grip >= 0) drag(event);
    });
    const drop = () => {
      grip = -1;
      this.bar.classList.remove('dragged');
    };
    this.bar.addEventListener('pointerup', drop);
    this.bar.addEventListener('pointercancel', drop);
    this.knob.addEventListener('keydown', (event) => this.key(event));
  }

  /** At most once a frame. */
  private dragTo(part: number): void {
    this.wanted = part;
    this.frame ||= requestAnimationFrame(() => {
      this.frame = 0;
      this.grid.drag(this.wanted * (this.grid.height - this.grid.viewportHeight));
    });
  }

  /** Arrows go to the next year or the one before, Home and End to the ends. */
  private key(event: KeyboardEvent): void {
    const y = this.grid.y;
    let to: number | undefined;
    if (event.key === 'ArrowDown' || event.key === 'ArrowRight' || event.key === 'PageDown')
      to = this.marks.find((mark) => mark.y > y + 1)?.y ?? this.grid.height;
    if (event.key === 'ArrowUp' || event.key === 'ArrowLeft' || event.key === 'PageUp')
      to = this.marks.filter((mark) => mark.y < y - 1).pop()?.y ?? 0;
    if (event.key === 'Home') to = 0;
    if (event.key === 'End') to = this.grid.height;
    if (to === undefined) return;
    event.preventDefault();
    event.stopPropagation();
    this.grid.jump(to);
  }
}
