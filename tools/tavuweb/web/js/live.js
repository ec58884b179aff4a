// Live view of the selected port: frames come over the WebSocket as fast as this page draws
// them, reduced by the console to the size and window asked for.
import { showError } from './api.js';
import { ImageView, parseDisplay } from './display.js';
import { on, send } from './socket.js';
import { selectedPort, store } from './store.js';

let view = null;
let watching = null;
let drawn = [];

function fpsText(header) {
  const now = performance.now();
  drawn.push(now);
  while (drawn.length && drawn[0] < now - 1000) drawn.shift();
  return `${drawn.length} frames/s shown · camera port delivers ${header.sourceFps.toFixed(1)} frames/s`;
}

function setButtons() {
  document.getElementById('live-start').disabled = !selectedPort();
  document.getElementById('live-stop').disabled = !watching;
}

export function stopLive() {
  if (!watching) return;
  send({ op: 'liveStop' });
  watching = null;
  document.getElementById('live-fps').textContent = '';
  setButtons();
}

export function setupLive() {
  view = new ImageView(document.getElementById('live-view'), (display) => send({ op: 'display', display }));
  document.getElementById('live-start').onclick = () => {
    if (!store.selected) return;
    watching = { ...store.selected };
    drawn = [];
    document.getElementById('live-title').textContent = `port ${watching.port} of device ${watching.device}`;
    send({ op: 'live', device: watching.device, port: watching.port, display: view.request() });
    setButtons();
  };
  document.getElementById('live-stop').onclick = stopLive;
  on('frame', (buffer) => {
    const frame = parseDisplay(buffer);
    if (watching && frame.header.device === watching.device && frame.header.port === watching.port) {
      view.draw(frame);
      document.getElementById('live-fps').textContent = fpsText(frame.header);
    }
    send({ op: 'ack' });
  });
  on('liveError', (message) => {
    showError(message.text);
    watching = null;
    setButtons();
  });
  // A new connection starts with no live view: ask again.
  on('open', () => {
    if (watching) send({ op: 'live', device: watching.device, port: watching.port, display: view.request() });
  });
  setButtons();
}

export function renderLive() { setButtons(); }
