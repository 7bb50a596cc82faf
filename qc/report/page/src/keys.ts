// SPDX-License-Identifier: BSD-2-Clause
//
// Keys for what the buttons and the mouse do. They can be switched off, for people whose speech
// input or other keyboard types single letters.
import { h } from './dom';

export interface Commands {
  next: () => void;
  previous: () => void;
  step: (frames: number) => void;
  second: (by: number) => void;
  zoom: (factor: number) => void;
  pan: (share: number) => void;
  whole: () => void;
}

const HELP: [string, string][] = [
  ['n  p', 'next, previous event'],
  ['←  →', 'one frame back, on; with Shift one second'],
  ['+  −', 'zoom in, out'],
  ['[  ]', 'earlier, later by half of what is seen'],
  ['0', 'see the whole'],
  ['wheel', 'over curves and lanes: zoom; sideways: earlier, later'],
  ['drag', 'over curves: zoom to what is marked; double click: the whole'],
  ['touch', 'over curves and lanes: move by one finger, zoom by two'],
];

function actionOf(event: KeyboardEvent, commands: Commands): (() => void) | undefined {
  const by = event.key === 'ArrowLeft' ? -1 : 1;
  const actions: Record<string, () => void> = {
    n: commands.next,
    p: commands.previous,
    ArrowLeft: () => (event.shiftKey ? commands.second(by) : commands.step(by)),
    ArrowRight: () => (event.shiftKey ? commands.second(by) : commands.step(by)),
    '+': () => commands.zoom(0.5),
    '=': () => commands.zoom(0.5),
    '-': () => commands.zoom(2),
    '[': () => commands.pan(-0.5),
    ']': () => commands.pan(0.5),
    0: commands.whole,
    Escape: commands.whole,
  };
  return actions[event.key];
}

/** Listens to the keys; returns the button and panel that explain them. */
export function keys(commands: Commands): HTMLElement {
  const on = h('input', { type: 'checkbox', id: 'keys-on', checked: true });
  const rows = HELP.flatMap(([key, what]) => [h('dt', {}, h('kbd', {}, key)), h('dd', {}, what)]);
  document.addEventListener('keydown', (event) => {
    const target = event.target as Element;
    if (!on.checked || event.ctrlKey || event.metaKey || event.altKey) return;
    if (target.closest('select, input, textarea, [contenteditable], .scroll') && event.key !== 'Escape')
      return;
    const action = actionOf(event, commands);
    if (!action) return;
    action();
    event.preventDefault();
  });
  return h(
    'details',
    { class: 'help' },
    h('summary', {}, 'Keys'),
    h('div', { class: 'panel' }, h('dl', {}, ...rows), h('label', { for: 'keys-on' }, on, ' Keys are on')),
  );
}
