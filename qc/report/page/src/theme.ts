// SPDX-License-Identifier: BSD-2-Clause
//
// The style sheet's colours, for what is drawn on a canvas.

const NAMES = [
  'ink',
  'muted',
  'grid',
  'curve',
  'envelope',
  'threshold',
  'fail',
  'warn',
  'info',
  'panel',
  'mark',
] as const;
type Theme = Record<(typeof NAMES)[number], string>;

let current: Theme | null = null;

export function theme(): Theme {
  if (current) return current;
  const style = getComputedStyle(document.documentElement);
  current = Object.fromEntries(
    NAMES.map((name) => [name, style.getPropertyValue(`--${name}`).trim()]),
  ) as Theme;
  return current;
}

/** Calls back when the colours are others. */
export function onThemeChange(listener: () => void): void {
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
    current = null;
    listener();
  });
}

/** Has the colours looked up anew, after the page has changed its own. */
export function forgetTheme(): void {
  current = null;
}
