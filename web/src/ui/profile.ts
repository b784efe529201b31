// The route's profile chart ("Height along the walk") and its link with the map: the chart's cursor marks
// the matching place on the route, and a mouse over the route moves the chart's cursor. Owns the uPlot
// chart; single-threaded.

import uPlot from 'uplot';
import type { Profile } from '../core/model.js';

const CHART_HEIGHT_PX = 180;

export class ProfileChart {
  private chart: uPlot | null = null;
  private xs: number[] = [];
  // Called with the distance along the walk under the chart's cursor, or null when it leaves the chart.
  onCursor: (distance: number | null) => void = () => {};

  constructor(private box: HTMLElement) {}

  clear(): void {
    this.chart?.destroy();
    this.chart = null;
    this.xs = [];
  }

  // `problems` are distances along the walk where the check found a problem.
  draw(p: Profile, problems: number[]): void {
    this.clear();
    this.xs = p.samples.map((s) => s.distance);
    const marks = this.xs.map(() => null as number | null);
    for (const d of problems) {
      const i = this.nearest(d);
      marks[i] = p.samples[i].ground ?? p.samples[i].height;
    }
    const data: uPlot.AlignedData = [this.xs, p.samples.map((s) => s.height), p.samples.map((s) => s.ground), marks];
    this.chart = new uPlot(this.options(this.box.clientWidth || 320), data, this.box);
  }

  // Moves the chart's cursor to `distance` along the walk (null: hides it).
  showDistance(distance: number | null): void {
    if (!this.chart || this.xs.length === 0) return;
    if (distance === null) return this.chart.setCursor({ left: -10, top: -10 }, false);
    const i = this.nearest(distance);
    const left = this.chart.valToPos(this.xs[i], 'x');
    const top = this.chart.valToPos((this.chart.data[1][i] as number) ?? 0, 'y');
    this.chart.setCursor({ left, top }, false);
  }

  private nearest(d: number): number {
    return this.xs.reduce((best, x, k) => (Math.abs(x - d) < Math.abs(this.xs[best] - d) ? k : best), 0);
  }

  private options(width: number): uPlot.Options {
    return {
      width, height: CHART_HEIGHT_PX, title: 'Height along the walk',
      scales: { x: { time: false } },
      axes: [{ label: 'distance' }, { label: 'height' }],
      series: [
        { label: 'distance' },
        { label: 'route', stroke: '#2f6fdf', width: 2 },
        { label: 'ground', stroke: '#8a6d3b', fill: 'rgba(138,109,59,0.2)', spanGaps: false },
        { label: 'problem', stroke: '#d12f2f', width: 0, points: { show: true, size: 10, fill: '#d12f2f' } },
      ],
      hooks: {
        setCursor: [(u) => {
          const i = u.cursor.idx;
          this.onCursor(i === null || i === undefined ? null : this.xs[i]);
        }],
      },
    };
  }
}
