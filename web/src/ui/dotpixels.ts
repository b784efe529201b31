// Actors' dots written straight into a canvas's pixels, for the actors' canvas (actorlayer.ts) and the
// playing walkers' (walkercanvas.ts): a path of 50,000 circles takes the browser's software rasteriser a
// tenth of a second to fill, and 1,000 copied pictures of a dot a frame's worth; these writes take a few
// milliseconds. Owns its picture, kept while the canvas's size stays; single-threaded.

import type { Walker } from '../core/model.js';

export const DOT_RADIUS_PX = 4; // CSS pixels, white rim included
const DOT_RIM_PX = 1;
export const COLOURS: Record<Walker, string> = { resident: '#2f6fdf', patroller: '#c9462c', model: '#8e44ad', none: '#9aa0a6' };

// A colour as one pixel of ImageData (bytes red, green, blue, alpha in memory order, little-endian word).
function word(hex: string): number {
  const n = parseInt(hex.slice(1), 16);
  return ((0xff << 24) | ((n & 0xff) << 16) | (n & 0xff00) | ((n >> 16) & 0xff)) >>> 0;
}
const WHITE_WORD = word('#ffffff');
const COLOUR_WORDS: Record<Walker, number> = {
  resident: word(COLOURS.resident), patroller: word(COLOURS.patroller), model: word(COLOURS.model), none: word(COLOURS.none),
};

// The pixels of a dot of `radius` around its centre, each with whether it is on the white rim `rim` wide.
const discs = new Map<string, [number, number, boolean][]>();
function discOffsets(radius: number, rim: number): [number, number, boolean][] {
  let found = discs.get(`${radius},${rim}`);
  if (found) return found;
  found = [];
  for (let dy = -radius - 1; dy <= radius + 1; ++dy)
    for (let dx = -radius - 1; dx <= radius + 1; ++dx) {
      const d = Math.hypot(dx, dy);
      if (d <= radius + 0.5) found.push([dx, dy, d > radius - rim + 0.5]);
    }
  discs.set(`${radius},${rim}`, found);
  return found;
}

export class DotPicture {
  private image: ImageData | null = null;
  private pixels = new Uint32Array(0);
  private width = 0;
  private height = 0;
  private ratio = 1;
  private disc: [number, number, boolean][] = [];
  private steps = new Int32Array(0); // each disc pixel's offset in the picture
  private rims = new Uint8Array(0);

  // Dots of `radiusPx` (CSS pixels) with a white rim `rimPx` wide.
  constructor(private canvas: HTMLCanvasElement, private radiusPx = DOT_RADIUS_PX, private rimPx = DOT_RIM_PX) {}

  // Sizes the canvas to `cssWidth` by `cssHeight` at the device's pixel ratio and clears the picture;
  // false when there is nothing to draw on.
  begin(cssWidth: number, cssHeight: number): boolean {
    this.ratio = window.devicePixelRatio || 1;
    const width = Math.round(cssWidth * this.ratio), height = Math.round(cssHeight * this.ratio);
    if (this.canvas.width !== width || this.canvas.height !== height) {
      // Setting a canvas's size allocates it anew, even to the same size: only when the view's size changed.
      this.canvas.width = width;
      this.canvas.height = height;
      this.canvas.style.width = `${cssWidth}px`;
      this.canvas.style.height = `${cssHeight}px`;
    }
    const ctx = this.canvas.getContext('2d');
    if (!ctx || width === 0 || height === 0) return false;
    if (this.image?.width !== width || this.image?.height !== height) {
      this.image = ctx.createImageData(width, height);
      this.pixels = new Uint32Array(this.image.data.buffer);
    }
    this.pixels.fill(0); // the picture is kept between frames (a timeline plays at 60 a second): cleared, not made anew
    const radius = Math.round(this.radiusPx * this.ratio);
    this.disc = discOffsets(radius, Math.round(this.rimPx * this.ratio));
    this.steps = Int32Array.from(this.disc, ([dx, dy]) => dy * width + dx);
    this.rims = Uint8Array.from(this.disc, ([, , rim]) => (rim ? 1 : 0));
    this.width = width;
    this.height = height;
    return true;
  }

  // A dot centred on (x, y) in CSS pixels; a later dot covers an earlier one.
  dot(x: number, y: number, walker: Walker): void {
    const { pixels, width, height, steps, rims } = this;
    const colour = COLOUR_WORDS[walker];
    const radius = Math.round(this.radiusPx * this.ratio);
    const cx = Math.round(x * this.ratio), cy = Math.round(y * this.ratio);
    if (cx > radius && cy > radius && cx < width - radius - 1 && cy < height - radius - 1) {
      const centre = cy * width + cx; // the whole dot is inside: no pixel needs a bounds check
      for (let k = 0; k < steps.length; ++k) pixels[centre + steps[k]] = rims[k] ? WHITE_WORD : colour;
      return;
    }
    for (const [dx, dy, rim] of this.disc) {
      const px = cx + dx, py = cy + dy;
      if (px >= 0 && py >= 0 && px < width && py < height) pixels[py * width + px] = rim ? WHITE_WORD : colour;
    }
  }

  // The picture onto the canvas.
  end(): void {
    if (this.image) this.canvas.getContext('2d')?.putImageData(this.image, 0, 0);
  }
}
