// Small parts that the views share.
import type { ComponentChildren } from 'preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { Icon, type IconName } from './icons';
import { placeAddress } from './route';
import { text } from './text';

/** A button with an icon. Its label is read by screen readers and shown as a tip. */
export function Tool(props: {
  icon: IconName;
  label: string;
  onClick: () => void;
  pressed?: boolean;
  disabled?: boolean;
  class?: string;
}) {
  const pressed = props.pressed === undefined ? {} : { 'aria-pressed': props.pressed };
  return (
    <button
      type="button"
      class={`tool ${props.class ?? ''}`}
      title={props.label}
      aria-label={props.label}
      disabled={props.disabled ?? false}
      onClick={props.onClick}
      {...pressed}
    >
      <Icon name={props.icon} />
    </button>
  );
}

/** A button that opens a panel below it. Escape, a tap elsewhere and, where asked for, a choice close it. */
export function Popover(props: {
  icon: IconName;
  label: string;
  marked?: boolean;
  closeOnChoice?: boolean;
  children: ComponentChildren;
}) {
  const [open, setOpen] = useState(false);
  const own = useRef<HTMLDivElement>(null);
  const button = useRef<HTMLButtonElement>(null);
  useEffect(() => {
    if (!open) return;
    const outside = (event: Event) => {
      if (!own.current?.contains(event.target as Node)) setOpen(false);
    };
    const escape = (event: KeyboardEvent) => {
      if (event.key !== 'Escape') return;
      setOpen(false);
      button.current?.focus();
    };
    document.addEventListener('pointerdown', outside);
    document.addEventListener('keydown', escape);
    return () => {
      document.removeEventListener('pointerdown', outside);
      document.removeEventListener('keydown', escape);
    };
  }, [open]);
  return (
    <div class="popover" ref={own}>
      <button
        type="button"
        ref={button}
        class={`tool ${props.marked ? 'marked' : ''}`}
        title={props.label}
        aria-label={props.label}
        aria-expanded={open}
        onClick={() => setOpen(!open)}
      >
        <Icon name={props.icon} />
      </button>
      {open && (
        <div class="panel" role="group" aria-label={props.label} onClick={() => props.closeOnChoice && setOpen(false)}>
          {props.children}
        </div>
      )}
    </div>
  );
}

/** A dialog over the page. The browser keeps the focus in it. */
export function Dialog(props: { title: string; onClose: () => void; children: ComponentChildren }) {
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    const element = dialog.current!;
    element.showModal();
    return () => element.close();
  }, []);
  const outside = (event: MouseEvent) => {
    if (event.target === dialog.current) props.onClose();
  };
  return (
    <dialog ref={dialog} aria-label={props.title} onClose={props.onClose} onClick={outside}>
      <div class="dialog">
        <h2>{props.title}</h2>
        {props.children}
      </div>
    </dialog>
  );
}

/** A message in place of a view. */
export function Notice(props: { title: string; children?: ComponentChildren; busy?: boolean }) {
  return (
    <div class="notice" role="status">
      {props.busy && <span class="spinner" aria-hidden="true" />}
      <p class="notice-title">{props.title}</p>
      {props.children}
    </div>
  );
}

/** What an address shows that names nothing, with a way to a place that is there. */
export function NotFound(props: { library: string; place: 'photos' | 'albums'; name: string }) {
  return (
    <Notice title={text.notFound}>
      <p>
        <a href={placeAddress(props.library, props.place)}>{props.name}</a>
      </p>
    </Notice>
  );
}

/** The head of a view: its title, what is below it, and its tools. */
export function Head(props: {
  title: string;
  sub?: string;
  up?: (() => void) | undefined;
  children?: ComponentChildren;
}) {
  useEffect(() => {
    document.title = props.title;
  }, [props.title]);
  return (
    <header class="head">
      {props.up && <Tool icon="back" label={text.up} onClick={props.up} class="up" />}
      <div class="titles">
        <h1>{props.title}</h1>
        {props.sub ? <p class="sub">{props.sub}</p> : null}
      </div>
      <div class="tools">{props.children}</div>
    </header>
  );
}

/** A picture that fades in, and leaves its place empty when it does not arrive. */
export function Picture(props: { src: string; class?: string }) {
  return (
    <img
      class={props.class ?? ''}
      src={props.src}
      alt=""
      loading="lazy"
      decoding="async"
      draggable={false}
      onError={(event) => event.currentTarget.classList.add('broken')}
    />
  );
}
