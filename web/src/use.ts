// What components share: the address, loaded data, settings.
import { useEffect, useRef, useState } from 'preact/hooks';
import { getJson, isTemporary, statusOf } from './api';
import { onNavigation, parseAddress, type Route } from './route';

export function useRoute(): Route {
  const [route, setRoute] = useState(() => parseAddress(location.pathname, location.search));
  useEffect(() => onNavigation(() => setRoute(parseAddress(location.pathname, location.search))), []);
  return route;
}

export interface Loaded<T> {
  data?: T;
  /** HTTP status of a failure; 0: the server could not be reached. */
  failed?: number;
}

const retrySeconds = 2;

/** Calls it after a pause, once the page is visible. Returns what prevents that. */
export function later(retry: () => void): () => void {
  let timer = 0;
  const wait = () => {
    timer = window.setTimeout(() => (document.visibilityState === 'visible' ? retry() : wait()), retrySeconds * 1000);
  };
  wait();
  return () => clearTimeout(timer);
}

/**
 * Reads JSON once for each address and revision; '' reads nothing. What was read before stays until then. While the
 * server is away or busy, it tries again.
 */
export function useJson<T>(address: string, revision = ''): Loaded<T> {
  const [state, setState] = useState<Loaded<T>>({});
  useEffect(() => {
    if (!address) return setState({});
    const abort = new AbortController();
    let stop = () => {};
    const read = () => {
      getJson<T>(address, abort.signal)
        .then((data) => setState({ data }))
        .catch((error: unknown) => {
          if (abort.signal.aborted) return;
          const failed = statusOf(error);
          // A failure while the library is away must not empty the screen.
          setState((old) => (isTemporary(failed) ? { ...old, failed } : { failed }));
          if (isTemporary(failed)) stop = later(read);
        });
    };
    read();
    return () => {
      abort.abort();
      stop();
    };
  }, [address, revision]);
  return state;
}

/** Reads JSON now and then while the page is visible, and at once when it becomes visible. */
export function usePolled<T>(address: string, seconds: (state: Loaded<T>) => number): Loaded<T> {
  const [state, setState] = useState<Loaded<T>>({});
  const interval = useRef(seconds);
  interval.current = seconds;
  useEffect(() => {
    if (!address) return setState({});
    const abort = new AbortController();
    let timer = 0;
    let last: Loaded<T> = {};
    const poll = async () => {
      clearTimeout(timer);
      if (document.visibilityState === 'visible') {
        try {
          last = { data: await getJson<T>(address, abort.signal) };
        } catch (error) {
          if (abort.signal.aborted) return;
          last = { ...last, failed: statusOf(error) };
        }
        setState(last);
      }
      timer = window.setTimeout(() => void poll(), interval.current(last) * 1000);
    };
    const seen = () => {
      if (document.visibilityState === 'visible') void poll();
    };
    document.addEventListener('visibilitychange', seen);
    void poll();
    return () => {
      abort.abort();
      clearTimeout(timer);
      document.removeEventListener('visibilitychange', seen);
    };
  }, [address]);
  return state;
}

/** A setting that this browser keeps. */
export function readSetting(name: string, otherwise: string): string {
  try {
    return localStorage.getItem(name) ?? otherwise;
  } catch {
    return otherwise;
  }
}

export function keepSetting(name: string, value: string): void {
  try {
    localStorage.setItem(name, value);
  } catch {
    // A private window may have no storage: the setting holds until the page is closed.
  }
}
