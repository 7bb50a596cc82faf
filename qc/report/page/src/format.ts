// SPDX-License-Identifier: BSD-2-Clause
//
// Numbers as the page shows them.

/** hh:mm:ss.mmm of seconds. */
export function timeCode(seconds: number): string {
  const sign = seconds < 0 ? '-' : '';
  const ms = Math.round(Math.abs(seconds) * 1000);
  const two = (n: number) => String(Math.floor(n)).padStart(2, '0');
  return `${sign}${two(ms / 3_600_000)}:${two((ms / 60_000) % 60)}:${two((ms / 1000) % 60)}.${String(ms % 1000).padStart(3, '0')}`;
}

/** A time code with no more parts than a step of so many seconds needs, for an axis. */
export function shortTime(seconds: number, step: number): string {
  const [head, ms] = timeCode(seconds).split('.') as [string, string];
  if (step >= 1) return head;
  return `${head.slice(3)}.${ms.slice(0, step >= 0.1 ? 1 : step >= 0.01 ? 2 : 3)}`;
}

/** To four significant digits; NaN and the infinities by their signs. */
export function four(value: number): string {
  if (Number.isNaN(value)) return 'NaN';
  if (!Number.isFinite(value)) return value > 0 ? '∞' : '−∞';
  const text = String(Number(value.toPrecision(4)));
  const small = value !== 0 && Math.abs(value) < 1e-4;
  return (small ? String(Number(value.toPrecision(4)).toExponential()) : text).replaceAll('-', '−');
}

/** "1 frame", "1,200 frames". */
export function counted(count: number, one: string, many = `${one}s`): string {
  return `${grouped(count)} ${count === 1 ? one : many}`;
}

export function grouped(count: number): string {
  return String(count).replace(/\B(?=(\d{3})+(?!\d))/g, ',');
}

/** 0.6 s, 12.4 s, 3 min 20 s, 2 h 3 min: for reading, not for finding a place. */
export function spoken(seconds: number): string {
  if (seconds < 59.95) return `${Number(seconds.toFixed(seconds < 10 ? 2 : 1))} s`;
  const whole = Math.round(seconds),
    minutes = Math.floor(whole / 60);
  if (minutes < 60) return `${minutes} min ${whole % 60} s`;
  return `${Math.floor(minutes / 60)} h ${minutes % 60} min`;
}

export function fileSize(bytes: number): string {
  const units = ['bytes', 'kB', 'MB', 'GB', 'TB'];
  let at = 0;
  for (; bytes >= 1000 && at < units.length - 1; ++at) bytes /= 1000;
  return `${at === 0 ? bytes : Number(bytes.toPrecision(3))} ${units[at]}`;
}
