// Which page is shown: the part of the address behind #, as in #driver?driver=sofa or
// #tape?t=74127268.
import { signal } from '@preact/signals';

export const PAGES = ['house', 'driver', 'energy', 'tape', 'past'];

function read() {
  const [name, query = ''] = location.hash.slice(1).split('?');
  const params = Object.fromEntries(new URLSearchParams(query));
  return { page: PAGES.includes(name) ? name : 'house', params };
}

export const route = signal(read());
addEventListener('hashchange', () => {
  route.value = read();
});

export const driverHref = name => `#driver?driver=${encodeURIComponent(name)}`;
export const go = hash => { location.hash = hash; };

// A link to what is shown, at that moment.
export function momentLink(t) {
  const { page, params } = route.value;
  const query = new URLSearchParams({ t: String(t) });
  if (params.driver) query.set('driver', params.driver);
  return `${location.origin}${location.pathname}${location.search}#${page}?${query}`;
}
