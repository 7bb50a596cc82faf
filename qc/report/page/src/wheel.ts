// SPDX-License-Identifier: BSD-2-Clause
import type { View } from './view';

/** Zooms by the wheel, and pans by a sideways one, over the parts of `element` that the selector names.
 * A page of curves must still scroll: the wheel zooms only once the mouse was moved over a part since
 * the page was scrolled, and a wheel that would zoom out of the whole scrolls. With Ctrl, as touchpads
 * tell of two fingers, it zooms in any case, these parts instead of the page. */
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
      if (!part || !(aimed || event.ctrlKey)) return;
      const { left, width } = part.getBoundingClientRect();
      const pixels = event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 30 : 1;
      const by = event.deltaY * pixels;
      const zoom = (most: number, speed: number) =>
        view.zoom(
          Math.exp(Math.min(Math.max(by, -most), most) * speed),
          view.from + ((event.clientX - left) / width) * (view.to - view.from),
        );
      if (event.ctrlKey) {
        event.preventDefault();
        zoom(60, 0.01); // fingers move by little
        return;
      }
      const sideways =
        Math.abs(event.deltaX) > Math.abs(event.deltaY) ? event.deltaX : event.shiftKey ? event.deltaY : 0;
      if (view.isWhole && (sideways !== 0 || event.deltaY >= 0)) return;
      event.preventDefault();
      if (sideways !== 0) view.pan((sideways * pixels) / width);
      else zoom(240, 0.0025);
    },
    { passive: false },
  );
}
