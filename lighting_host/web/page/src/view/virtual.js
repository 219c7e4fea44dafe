// A long list of rows of one height, of which only what can be seen is drawn.
import { useLayoutEffect, useRef } from 'preact/hooks';
import { useSignal } from '@preact/signals';

const MORE = 6;

// Gives a ref for the scrolling element, its scroll handler, and the rows from `first` to before
// `last` of `count`. `shift` is the height of what scrolls above the rows.
export function useVirtual(count, height, shift = 0) {
  const box = useRef(null);
  const top = useSignal(0);
  const tall = useSignal(600);
  useLayoutEffect(() => {
    const element = box.current;
    if (!element) return undefined;
    const measure = () => { tall.value = element.clientHeight || 600; };
    const watch = new ResizeObserver(measure);
    watch.observe(element);
    measure();
    return () => watch.disconnect();
  }, []);
  const first = Math.max(0, Math.floor((top.value - shift) / height) - MORE);
  const last = Math.min(count, Math.ceil((top.value - shift + tall.value) / height) + MORE);
  const onScroll = event => { top.value = event.currentTarget.scrollTop; };
  return { box, onScroll, first: Math.min(first, count), last, atTop: top.value <= 4, toTop: () => { if (box.current) box.current.scrollTop = 0; } };
}
