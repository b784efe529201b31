// Undo, Redo and the history panel of the package: the buttons tell on hover what they would undo or redo,
// the panel lists every change with its time, the undone ones marked. Reads the server's `history`; the
// undo and redo themselves go through `onUndo`/`onRedo`. Single-threaded.

import type { HistoryEntry } from '../core/edit.js';
import { nextUndoRedo } from '../core/edit.js';

export class HistoryPanel {
  constructor(private undo: HTMLButtonElement, private redo: HTMLButtonElement, private list: HTMLElement) {}

  draw(entries: HistoryEntry[]): void {
    const next = nextUndoRedo(entries);
    this.undo.title = next.undo ? `Undo: ${next.undo}` : 'Nothing to undo';
    this.redo.title = next.redo ? `Redo: ${next.redo}` : 'Nothing to redo';
    this.undo.dataset.next = next.undo ?? '';
    this.redo.dataset.next = next.redo ?? '';
    this.list.replaceChildren();
    for (const e of [...entries].reverse()) {
      const row = document.createElement('li');
      row.className = e.undone ? 'undone' : 'applied';
      const time = document.createElement('time');
      time.dateTime = e.time;
      time.textContent = e.time ? new Date(e.time).toLocaleTimeString() : '';
      row.append(time, ` ${e.label}${e.undone ? ' (undone)' : ''}`);
      this.list.append(row);
    }
    if (entries.length === 0) this.list.append(Object.assign(document.createElement('li'), { textContent: 'No changes yet' }));
  }
}
