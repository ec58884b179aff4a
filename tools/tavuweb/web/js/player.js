// Plays a recording back frame by frame, through the same window and zoom as live view.
import { fetchBinary, showError } from './api.js';
import { ImageView, parseDisplay } from './display.js';

let view = null;
let current = null;   // { device, file }
let frame = 0;
let playing = false;
let loading = false;
let pending = false;

const $ = (id) => document.getElementById(id);

function query(display) {
  const entries = Object.entries(display).filter(([key]) => key !== 'window');
  if (display.window) entries.push(['low', display.window.low], ['high', display.window.high]);
  return entries.map(([key, value]) => `${key}=${Math.round(value)}`).join('&');
}

function framePath(index) {
  return `devices/${current.device}/files/${current.file.fileId}/${current.file.streamId}/frames/${index}`;
}

// One request at a time: a change made while a frame loads is shown after it.
async function show() {
  if (!current) return;
  if (loading) { pending = true; return; }
  loading = true;
  const started = performance.now();
  try {
    const buffer = await fetchBinary(`${framePath(frame)}?${query(view.request())}`);
    view.draw(parseDisplay(buffer));
    $('player-frame').value = frame;
    $('player-slider').value = frame;
    $('download-png').href = `/api/${framePath(frame)}.png`;
    $('download-tiff').href = `/api/${framePath(frame)}.tiff`;
  } catch (error) {
    showError(error.message);
    pause();
  } finally {
    loading = false;
  }
  if (pending) { pending = false; show(); return; }
  if (playing) {
    const rate = Math.max(1, Math.min(100, Number($('player-rate').value) || 10));
    const wait = Math.max(0, 1000 / rate - (performance.now() - started));
    setTimeout(() => {
      if (!playing) return;
      frame = (frame + 1) % current.file.numFrames;
      show();
    }, wait);
  }
}

function pause() {
  playing = false;
  $('player-play').textContent = 'Play';
}

function go(index) {
  if (!current) return;
  frame = Math.max(0, Math.min(current.file.numFrames - 1, index));
  show();
}

export function openPlayer(device, file) {
  current = { device, file };
  pause();
  $('player-panel').hidden = false;
  $('player-title').textContent = `${file.name} (recording ${file.fileId}/${file.streamId} of device ${device})`;
  $('player-slider').max = Math.max(0, file.numFrames - 1);
  $('player-frame').max = Math.max(0, file.numFrames - 1);
  $('player-count').textContent = `of ${file.numFrames}`;
  go(0);
  $('player-panel').scrollIntoView();
}

// The list changed: a renamed recording keeps playing, a removed one closes the player.
export function playerFilesChanged(device, files) {
  if (!current || current.device !== device) return;
  const still = files.find((f) => f.fileId === current.file.fileId && f.streamId === current.file.streamId);
  if (!still) { closePlayer(); return; }
  current.file = still;
  $('player-title').textContent = `${still.name} (recording ${still.fileId}/${still.streamId} of device ${device})`;
}

function closePlayer() {
  pause();
  current = null;
  $('player-panel').hidden = true;
}

export function setupPlayer() {
  view = new ImageView($('player-view'), () => show());
  $('player-slider').oninput = () => go(Number($('player-slider').value));
  $('player-frame').onchange = () => go(Number($('player-frame').value));
  $('player-previous').onclick = () => go(frame - 1);
  $('player-next').onclick = () => go(frame + 1);
  $('player-play').onclick = () => {
    if (playing) { pause(); return; }
    playing = true;
    $('player-play').textContent = 'Pause';
    show();
  };
  $('player-close').onclick = closePlayer;
}
