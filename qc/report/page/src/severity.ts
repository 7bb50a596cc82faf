// SPDX-License-Identifier: BSD-2-Clause
//
// The order of severities.
import type { ResultEvent, Severity } from './types';

export const LEVELS: Record<Severity, number> = { info: 0, warn: 1, fail: 2 };

/** The worst first. */
export const bySeverity = (a: ResultEvent, b: ResultEvent) => LEVELS[b.severity] - LEVELS[a.severity];
