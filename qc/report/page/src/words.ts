// SPDX-License-Identifier: BSD-2-Clause
//
// What the page says about kinds of events, indicators and signals in plain words.
import type { Condition } from './types';

export interface Kind {
  title: string;
  looks: string; // what a viewer sees
  cause: string; // what usually makes it
}

/** A member for every kind that a profile can have a rule for. */
export const KINDS: Record<string, Kind> = {
  black: {
    title: 'Black picture',
    looks: 'The whole picture is black.',
    cause:
      'Pauses between programmes and fades are black on purpose; longer black is mostly a lost source or a wrong cut.',
  },
  flat: {
    title: 'Picture of one colour',
    looks: 'The whole picture is one even grey, white or colour.',
    cause:
      'A source that gives no picture, a decoder that has nothing to show, or a title card without text.',
  },
  fade: {
    title: 'Fade',
    looks: 'The picture appears or vanishes bit by bit.',
    cause: 'Mostly meant. A camera that turns to richer content can look the same.',
  },
  frozen: {
    title: 'Frozen picture',
    looks: 'Everything stands still in the middle of movement, and then leaps to where it should be.',
    cause:
      'Pictures that were lost and repeated instead: a capture that could not keep up, a break in transmission, a stalled source.',
  },
  still: {
    title: 'Picture at rest',
    looks: 'Nothing moves for a while.',
    cause: 'A title, a drawing, a screen at rest, a closing picture; rarely a fault.',
  },
  stutter: {
    title: 'Stutter',
    looks: 'Movement halts and goes on again and again.',
    cause:
      'Frames repeated or dropped when the frame rate was changed, or a player or encoder that was too slow.',
  },
  letterbox: {
    title: 'Bars above and below',
    looks: 'Black bars lie along the top or the bottom.',
    cause:
      'A wider picture put into this shape. Where both sides should reach the edge, the shape was converted wrongly.',
  },
  pillarbox: {
    title: 'Bars left and right',
    looks: 'Black bars stand at the left or the right.',
    cause: 'A narrower or upright picture put into this shape.',
  },
  windowbox: {
    title: 'Bars on all sides',
    looks: 'The picture is a small window in a black frame.',
    cause: 'Bars were added twice: once for the height and once for the width.',
  },
  block_loss: {
    title: 'Lost blocks',
    looks: 'Squares show something that does not belong there: old content, a wrong colour, a hole.',
    cause: 'Data that was lost or damaged on the way, which the decoder filled in.',
  },
  slice_error: {
    title: 'Smeared rows',
    looks: 'Bands of the picture are drawn out sideways or downwards.',
    cause: 'Rows that were lost, which the decoder filled with their neighbours.',
  },
  concealed: {
    title: 'Concealed damage',
    looks:
      'Traces of damage until the next whole picture: smears, ghosts, pieces of old content; sometimes nothing.',
    cause: 'The stream is broken here: lost packets, a damaged file, a cut that is not at a key frame.',
  },
  interlaced: {
    title: 'Combs of interlacing',
    looks: 'Edges that move sideways are frayed like a comb.',
    cause:
      'Two fields of different moments are woven into one picture: interlaced video that nobody took apart.',
  },
  blocky: {
    title: 'Blockiness',
    looks: 'A grid of squares shows, above all on smooth surfaces and in movement.',
    cause: 'Compressed too hard: too few bits for what happens in the picture.',
  },
  starved: {
    title: 'Starved of bits',
    looks: 'Fine detail and grain are gone, edges are soft, surfaces look painted.',
    cause: 'Too few bits, and a coder that smooths its blocks over.',
  },
  blurred: {
    title: 'Blurred picture',
    looks: 'The picture is softer than the rest of its shot.',
    cause:
      'Focus that was lost, a picture that was made larger, or a filter that smooths. Fast movement blurs too and is left out.',
  },
  noisy: {
    title: 'Noise',
    looks: 'The picture swarms with grain, most visibly in dark and smooth places.',
    cause: 'Too little light for the camera, much amplification, or an old tape.',
  },
  flicker: {
    title: 'Flicker',
    looks: 'The brightness swings quickly up and down.',
    cause:
      'Lamps and shutter out of step, old film, an exposure that keeps correcting itself. Fast flicker can harm viewers.',
  },
  overexposed: {
    title: 'Overexposed',
    looks: 'Large parts are plain white without any detail.',
    cause: 'More light than the camera took, or levels that were stretched.',
  },
  clipped: {
    title: 'White without detail',
    looks: 'Parts of the picture are at full white.',
    cause: 'Graphics, paper and screens are so by nature; in camera footage the light was too much.',
  },
  underexposed: {
    title: 'Underexposed',
    looks: 'The picture is dark throughout, even where it is brightest.',
    cause: 'Too little light, a closed iris, or levels that were read wrongly.',
  },
  low_contrast: {
    title: 'Low contrast',
    looks: 'The picture is flat and hazy, without real black or white.',
    cause: 'Fog, glare on the lens, a flat camera profile that was not graded, or wrong levels.',
  },
  undecodable: {
    title: 'Undecodable',
    looks: 'Pictures of this stretch could not be made at all.',
    cause: 'The stream is broken here: a damaged file, lost packets, or a stretch without a key frame.',
  },
  missing: {
    title: 'Missing pictures',
    looks:
      'Pictures that should be here are not in the stream: a leap or a standstill, as the player decides.',
    cause: 'Packets that were lost, a recording that was interrupted, a bad cut.',
  },
};

export function kindOf(name: string): Kind {
  return KINDS[name] ?? { title: titled(name), looks: '', cause: '' };
}

/** What each indicator is, in a line. */
const ABOUT: Record<string, string> = {
  blockiness: 'how little the 8x8 grid of coding stands out; about 1 without a grid',
  spatial_activity: 'how much detail and how many edges there are',
  letterbox: 'how far even rows reach in from above and below',
  pillarbox: 'how far even columns reach in from the sides',
  block_loss: 'blocks that stand out from their surroundings',
  blur: 'how wide edges are',
  temporal_activity: 'how much changed since the frame before',
  blackout: '1: the picture is flat, of whatever level',
  freezing: '1: has stood still for a tenth of a second',
  exposure: 'the middle between the darkest and the brightest places',
  contrast: 'how far luma spreads',
  interlace: 'blocks with a comb',
  noise: 'fine scatter in even places',
  slice: 'rows drawn out sideways against columns',
  flickering: 'places that switch between moving and standing still; one value for eight frames',
  bar_top: 'black rows at the top',
  bar_bottom: 'black rows at the bottom',
  bar_left: 'black columns at the left',
  bar_right: 'black columns at the right',
  clipped_low: 'samples at black',
  clipped_high: 'samples at white',
  repeat_share: 'blocks that repeat the frame before',
  still_share: 'blocks in which nothing moved',
  stale_share: 'repeated blocks amid movement',
  block_damage: 'blocks torn from what is around them',
  smear_share: 'blocks drawn out over lost rows',
  flat_share: 'segments without any difference',
  grain: 'noise in the quietest places',
  sharpness: 'hardness of edges; 2 for drawn, 0.5 for soft ones',
  brightness: 'mean of all luma',
  stale_rows: 'rows of blocks that went back to what they showed some frames ago',
  scene_change: 'how little the layout has to do with the frame before',
};

export function aboutIndicator(name: string): string {
  return ABOUT[name] ?? '';
}

/** "block_loss" as "Block loss". */
export function titled(name: string): string {
  const words = name.replace(/_/g, ' ');
  return words.charAt(0).toUpperCase() + words.slice(1);
}

/** "blur.ratio" in its parts; the second is empty for the plain value. */
export function signalParts(signal: string): { indicator: string; relation: string } {
  const [indicator, relation] = signal.split('.', 2) as [string, string | undefined];
  return { indicator, relation: relation ?? '' };
}

/** A value of a signal: "0.15 × its usual value". */
export function signalValue(signal: string, value: string): string {
  switch (signalParts(signal).relation) {
    case 'ratio':
      return `${value} × the usual of the shot`;
    case 'rise':
      return `${value} more than usual in the shot`;
    case 'to_before':
      return `${value} × that of the moment before`;
    case 'to_after':
      return `${value} × that of the moment after`;
    case 'alternation':
      return `swings of ${value}`;
    case 'baseline':
      return `usual value ${value}`;
    default:
      return value;
  }
}

export const COMPARED: Record<Condition['comparison'], string> = {
  '>': 'above',
  '>=': 'from',
  '<': 'below',
  '<=': 'up to',
};
