// SPDX-License-Identifier: BSD-2-Clause
//
// Elements. Text from data goes in as text nodes, and no attribute that could run or load anything is
// taken from data: links and pictures have functions of their own that look at what they are given.

type Child = Node | string | null | undefined | false;
type Handler = (event: never) => void;
type Attributes = Record<string, string | number | boolean | null | undefined | Handler>;

const FORBIDDEN = /^(on|href$|src|style$|action|formaction|srcdoc)/;

/** An element with attributes (true: present, false or null: absent; functions: listeners of that
 * event) and children. */
export function h<K extends keyof HTMLElementTagNameMap>(
  tag: K,
  attributes: Attributes = {},
  ...children: Child[]
): HTMLElementTagNameMap[K] {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (typeof value === 'function') element.addEventListener(name, value as EventListener);
    else if (FORBIDDEN.test(name)) throw new Error(`attribute ${name} is not for h()`);
    else if (value === true) element.setAttribute(name, '');
    else if (value !== false && value !== null && value !== undefined)
      element.setAttribute(name, String(value));
  }
  element.append(
    ...children.filter(
      (child): child is Node | string => child !== null && child !== undefined && child !== false,
    ),
  );
  return element;
}

/** Text from a file, which may be written from right to left or hold marks that turn its surroundings. */
export function foreign(text: string): HTMLElement {
  return h('bdi', { class: 'foreign' }, text);
}

/** A JPEG of the page's data; what is no base64 gives an empty picture. */
export function jpeg(base64: string, alt: string): HTMLImageElement {
  const image = h('img', { alt, decoding: 'async', draggable: 'false' });
  if (/^[A-Za-z0-9+/=]+$/.test(base64)) image.src = `data:image/jpeg;base64,${base64}`;
  return image;
}

/** Relative links alone: nothing that names a scheme or another host. */
export function relativeLink(link: string | null | undefined): string | null {
  return link && !/^([a-z][a-z0-9+.-]*:|[\\/])/i.test(link.trim()) && !/[\u0000-\u001f]/.test(link)
    ? link
    : null;
}

const SHAPES = {
  fail: 'M8 1 15 8 8 15 1 8Z M7.2 4.6h1.6v4.2H7.2Z M7.2 10h1.6v1.6H7.2Z',
  warn: 'M8 1.5 15.4 14.5H.6Z M7.2 6h1.6v4H7.2Z M7.2 11.2h1.6v1.6H7.2Z',
  info: 'M8 1.5a6.5 6.5 0 1 0 0 13 6.5 6.5 0 0 0 0-13Z M8 3.2a4.8 4.8 0 1 1 0 9.6 4.8 4.8 0 0 1 0-9.6Z',
  pass: 'M6.4 13.4 1.2 8.2l1.6-1.6 3.6 3.6 6.8-7 1.6 1.6Z',
  unmeasured: 'M1.5 6.8h13v2.4h-13Z',
};

/** The sign of a severity or verdict: each has a shape of its own beside its colour. */
export function sign(of: keyof typeof SHAPES, label = ''): SVGSVGElement {
  const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
  svg.setAttribute('viewBox', '0 0 16 16');
  svg.setAttribute('class', `sign ${of}`);
  if (label) {
    svg.setAttribute('role', 'img');
    svg.setAttribute('aria-label', label);
  } else {
    svg.setAttribute('aria-hidden', 'true');
  }
  const path = document.createElementNS('http://www.w3.org/2000/svg', 'path');
  path.setAttribute('d', SHAPES[of] ?? SHAPES.info);
  path.setAttribute('fill-rule', 'evenodd');
  svg.append(path);
  return svg;
}

let announcer: HTMLElement | null = null;

/** Says a sentence to a screen reader and shows it for a moment. */
export function announce(text: string): void {
  if (!announcer) {
    announcer = h('div', { class: 'announcer', role: 'status' });
    document.body.append(announcer);
  }
  announcer.textContent = text;
  announcer.classList.add('shown');
  const own = announcer;
  setTimeout(() => own.classList.remove('shown'), 1500);
}

/** A button whose text is copied by a click. */
export function copyable(text: string, what: string): HTMLElement {
  const copy = async () => {
    try {
      await navigator.clipboard.writeText(text);
      announce(`Copied ${text}`);
    } catch {
      announce('This browser does not let the page copy; select the text instead');
    }
  };
  return h('button', { type: 'button', class: 'copy', title: `Copy ${what}`, click: copy }, text);
}
