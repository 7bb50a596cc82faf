// SPDX-License-Identifier: BSD-2-Clause
import type { View } from './view';

/** Zooms by the wheel, and pans by a sideways one, over the parts of `element` that the selector names.
 * A page of curves must still scroll: the wheel zooms only once the mouse was moved over a part since
 * the page was scrolled, and a wheel that would zoom out of the whole scrolls. */
export function wheelZoom(element: HTMLElement, view: View, selector: string): void {
  let aimed = false;
  element.addEventListener('pointermove', () => {
    aimed = true;
  });
  addEventListener(
    'scroll',
    () => {
      aimed = false;
    },
    { passive: true },
  );
  element.addEventListener(
    'wheel',
    (event) => {
      const part = (event.target as Element).closest(selector);
      if (!part || !aimed) return;
      const { left, width } = part.getBoundingClientRect();
      const sideways =
        Math.abs(event.deltaX) > Math.abs(event.deltaY) ? event.deltaX : event.shiftKey ? event.deltaY : 0;
      const lines = event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 30 : 1;
      if (view.isWhole && (sideways !== 0 || event.deltaY >= 0)) return;
      event.preventDefault();
      if (sideways !== 0) view.pan((sideways * lines) / width);
      else
        view.zoom(
          Math.exp(Math.min(Math.max(event.deltaY * lines, -240), 240) * 0.0025),
          view.from + ((event.clientX - left) / width) * (view.to - view.from),
        );
    },
    { passive: false },
  );
}
