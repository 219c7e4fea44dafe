// A button that is pressed for as long as a person holds it: with mouse, touch, pen or keyboard.
import { useEffect, useRef } from 'preact/hooks';
import { useSignal } from '@preact/signals';

const KEYS = [' ', 'Enter'];

// Gives the handlers of the button, and whether it is held here. `press` and `release` are called
// in turn; the release always comes, also when the page is hidden or left.
export function useHold(press, release, disabled) {
  const held = useSignal(false);
  const now = useRef({});
  now.current = { press, release };

  const begin = () => {
    if (held.value || disabled) return;
    held.value = true;
    now.current.press();
  };
  const end = () => {
    if (!held.value) return;
    held.value = false;
    now.current.release();
  };
  useEndAtLeaving(end);
  useEffect(() => { if (disabled) end(); }, [disabled]);
  return {
    held: held.value,
    on: {
      onPointerDown: event => {
        if (event.button !== 0) return;
        event.currentTarget.setPointerCapture(event.pointerId);
        begin();
      },
      onPointerUp: end,
      onPointerCancel: end,
      onLostPointerCapture: end,
      onBlur: end,
      onContextMenu: event => event.preventDefault(),
      onKeyDown: event => {
        if (!KEYS.includes(event.key)) return;
        event.preventDefault();
        if (!event.repeat) begin();
      },
      onKeyUp: event => {
        if (!KEYS.includes(event.key)) return;
        event.preventDefault();
        end();
      },
      // A click without any of these comes from a screen reader: pressed and released.
      onClick: event => {
        if (event.detail !== 0 || held.value) return;
        begin();
        end();
      },
    },
  };
}

function useEndAtLeaving(end) {
  const last = useRef(end);
  last.current = end;
  useEffect(() => {
    const leave = () => last.current();
    const hide = () => document.hidden && leave();
    addEventListener('blur', leave);
    addEventListener('pagehide', leave);
    document.addEventListener('visibilitychange', hide);
    return () => {
      leave();
      removeEventListener('blur', leave);
      removeEventListener('pagehide', leave);
      document.removeEventListener('visibilitychange', hide);
    };
  }, []);
}
