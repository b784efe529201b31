// The selected route's point list beside the map: one row per point (its number and position), a click
// selects it, dragging a row onto another reorders the route. Owns only the list's elements; reports what
// the modder did through its callbacks. Single-threaded.

import type { Vec3 } from '../core/model.js';
import type { Drawing } from '../core/route.js';
import { editablePoint } from '../core/edit.js';

const at = (p: Vec3) => `x ${p.x.toFixed(1)}, y ${p.y.toFixed(1)}, z ${p.z.toFixed(1)}`;

export class PointList {
  onSelect: (n: number) => void = () => {};
  onReorder: (point: number, to: number, row: HTMLElement) => void = () => {};
  private dragged = 0;
  private shown = ''; // what the rows show now: redrawing the same rows would cancel a drag under way

  constructor(private list: HTMLElement) {}

  draw(d: Drawing, selected: number | null, editable: boolean): void {
    const shown = JSON.stringify([d.points, selected, editable]);
    if (shown === this.shown) return;
    this.shown = shown;
    this.list.replaceChildren();
    for (const p of d.points) {
      const row = document.createElement('li');
      const movable = editable && editablePoint(p.number);
      row.dataset.listPoint = String(p.number);
      row.draggable = movable;
      if (p.number === selected) row.classList.add('selected');
      const button = document.createElement('button');
      button.type = 'button';
      button.textContent = `${p.number}${p.number === 0 ? ' (own position)' : ''}: ${at(p.at)}`;
      button.setAttribute('aria-label', `Select point ${p.number}`);
      button.setAttribute('aria-current', String(p.number === selected));
      button.addEventListener('click', () => this.onSelect(p.number));
      row.append(button);
      if (movable) this.dragAndDrop(row, p.number);
      this.list.append(row);
    }
  }

  // Focuses the selected row's button, so that keyboard work goes on from there.
  focusSelected(): void {
    this.list.querySelector<HTMLButtonElement>('li.selected button')?.focus();
  }

  private dragAndDrop(row: HTMLElement, n: number): void {
    row.addEventListener('dragstart', (e) => {
      this.dragged = n;
      e.dataTransfer?.setData('text/plain', String(n));
      row.classList.add('dragging');
    });
    row.addEventListener('dragend', () => row.classList.remove('dragging'));
    row.addEventListener('dragover', (e) => {
      if (this.dragged > 0) e.preventDefault();
    });
    row.addEventListener('drop', (e) => {
      e.preventDefault();
      const from = this.dragged;
      this.dragged = 0;
      if (from > 0 && from !== n) this.onReorder(from, n, row);
    });
  }
}
