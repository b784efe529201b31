// The keyboard: every editing action and its shortcut, in one table that both the key handler and the help
// panel (`?`) read, so the help can never list a key that does nothing. Pure; single-threaded.

export type Action =
  | 'toggle-adding' | 'toggle-snap' | 'remove-point' | 'remove-route' | 'undo' | 'redo'
  | 'previous-point' | 'next-point' | 'point-earlier' | 'point-later' | 'add-at-link' | 'add-at-camera'
  | 'move-to-link' | 'move-to-camera' | 'check-route' | 'search' | 'history' | 'help' | 'escape' | 'play-pause';

export interface KeyPress { key: string; ctrl: boolean; shift: boolean; alt: boolean }
export interface Shortcut { action: Action; keys: string; what: string; matches: (k: KeyPress) => boolean }

const plain = (key: string) => (k: KeyPress) => !k.ctrl && !k.alt && k.key.toLowerCase() === key && !k.shift;
const shifted = (key: string) => (k: KeyPress) => !k.ctrl && !k.alt && k.key.toLowerCase() === key && k.shift;

export const SHORTCUTS: readonly Shortcut[] = [
  { action: 'search', keys: '/', what: 'Find an actor (then Tab to the list and Enter to select)', matches: (k) => k.key === '/' },
  { action: 'toggle-adding', keys: 'A', what: 'Adding mode on or off: a click on the map adds a point', matches: plain('a') },
  { action: 'toggle-snap', keys: 'S', what: 'Snap to ground on or off', matches: plain('s') },
  { action: 'previous-point', keys: '[', what: 'Select the previous point', matches: (k) => k.key === '[' },
  { action: 'next-point', keys: ']', what: 'Select the next point', matches: (k) => k.key === ']' },
  { action: 'point-earlier', keys: 'Alt+↑', what: 'Move the selected point one place earlier in the route',
    matches: (k) => k.alt && !k.ctrl && k.key === 'ArrowUp' },
  { action: 'point-later', keys: 'Alt+↓', what: 'Move the selected point one place later in the route',
    matches: (k) => k.alt && !k.ctrl && k.key === 'ArrowDown' },
  { action: 'add-at-link', keys: 'L', what: 'Add a point at Link (after the selected point)', matches: plain('l') },
  { action: 'add-at-camera', keys: 'C', what: 'Add a point at the camera (after the selected point)', matches: plain('c') },
  { action: 'move-to-link', keys: 'Shift+L', what: 'Move the selected point to Link', matches: shifted('l') },
  { action: 'move-to-camera', keys: 'Shift+C', what: 'Move the selected point to the camera', matches: shifted('c') },
  { action: 'remove-point', keys: 'Delete', what: 'Remove the selected point',
    matches: (k) => !k.shift && !k.ctrl && (k.key === 'Delete' || k.key === 'Backspace') },
  { action: 'remove-route', keys: 'Shift+Delete', what: 'Remove the whole route',
    matches: (k) => k.shift && !k.ctrl && k.key === 'Delete' },
  { action: 'undo', keys: 'Ctrl+Z', what: 'Undo the last change', matches: (k) => k.ctrl && !k.shift && k.key.toLowerCase() === 'z' },
  { action: 'redo', keys: 'Ctrl+Shift+Z, Ctrl+Y', what: 'Redo what was undone',
    matches: (k) => k.ctrl && ((k.shift && k.key.toLowerCase() === 'z') || (!k.shift && k.key.toLowerCase() === 'y')) },
  { action: 'check-route', keys: 'R', what: 'Check the route against the ground', matches: plain('r') },
  { action: 'history', keys: 'H', what: 'Show or hide the history of changes', matches: plain('h') },
  { action: 'play-pause', keys: 'Space',
    what: 'Play or pause the timeline (switches the map to "Timeline"), unless a button or field has the keyboard',
    matches: (k) => !k.ctrl && !k.alt && k.key === ' ' },
  { action: 'help', keys: '?', what: 'Show or hide this help', matches: (k) => k.key === '?' },
  { action: 'escape', keys: 'Esc', what: 'Leave adding mode, close the panels', matches: (k) => k.key === 'Escape' },
];

// The action a key press asks for. While a text field has the focus only Escape counts, so typing an "a"
// into the search box never switches adding mode on, and Ctrl+Z there undoes typing, not a route change.
export function actionFor(k: KeyPress, inTextField: boolean): Action | null {
  if (inTextField && k.key !== 'Escape') return null;
  return SHORTCUTS.find((s) => s.matches(k))?.action ?? null;
}
