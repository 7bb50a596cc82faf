// SPDX-License-Identifier: BSD-2-Clause
import type { View } from './view';

const SLACK = 6; // pixels that a finger may stray and still press what is below it

interface Finger {
  x: number;
  y: number;
}

/** Fingers over the parts of `element` that the selector names: one moves what is seen, two spread or
 * draw together zoom. Up and down one scrolls the page, by the style sheet's touch-action: pan-y. */
export function touchZoom(element: HTMLElement, view: View, selector: string): void {
  const fingers = new Map<number, Finger>();
  let axis = { left: 0, width: 1 },
    moves = false;
  const measure = (): { middle: number; spread: number } => {
    const [a, b = a] = [...fingers.values()];
    return { middle: ((a.x + b.x) / 2 - axis.left) / axis.width, spread: Math.hypot(a.x - b.x, a.y - b.y) };
  };
  element.addEventListener('pointerdown', (event) => {
    const part = (event.target as Element).closest(selector);
    if (event.pointerType !== 'touch' || !part) return;
    if (event.isPrimary) fingers.clear(); // of one that went away unseen
    axis = part.getBoundingClientRect();
    fingers.set(event.pointerId, { x: event.clientX, y: event.clientY });
    moves = fingers.size > 1;
  });
  element.addEventListener('pointermove', (event) => {
    const finger = fingers.get(event.pointerId);
    if (!finger || fingers.size > 2) return;
    if (!moves && Math.abs(event.clientX - finger.x) < SLACK) return;
    moves = true;
    // What was pressed may go as the page is drawn anew, and its events with it.
    for (const id of fingers.keys()) if (!element.hasPointerCapture(id)) element.setPointerCapture(id);
    const before = measure(),
      length = view.to - view.from;
    const held = view.from + before.middle * length;
    fingers.set(event.pointerId, { x: event.clientX, y: event.clientY });
    const { middle, spread } = measure();
    const next = before.spread > 0 && spread > 0 ? (length * before.spread) / spread : length;
    view.show(held - middle * next, held + (1 - middle) * next);
  });
  for (const end of ['pointerup', 'pointercancel'] as const)
    element.addEventListener(end, (event) => {
      fingers.delete(event.pointerId);
    });
}
