// The page: wires the console's messages to the panels.
import { act, api, element, showError } from './api.js';
import { renderDevices, renderPortForm, setupPortForm } from './devices.js';
import { renderLive, setupLive } from './live.js';
import { playerFilesChanged, setupPlayer } from './player.js';
import { renderProgress, renderRecordPorts, setupRecordForm } from './record.js';
import { renderRecordings, setupRecordings } from './recordings.js';
import { connect, on } from './socket.js';
import { changed, onChange, store } from './store.js';

function renderService() {
  const status = document.getElementById('service-status');
  status.textContent = store.service.connected ? 'service connected' : `no service: ${store.service.problem || 'connecting…'}`;
  status.className = `status ${store.service.connected ? 'ok' : 'bad'}`;
}

function renderBanners() {
  const box = document.getElementById('banners');
  box.replaceChildren();
  for (const device of store.devices.values()) {
    if (!device.incomplete) continue;
    const recovery = store.recoveries.get(device.index);
    const progress = recovery ? ` Recovery ${recovery.status}, ${recovery.seconds.toFixed(0)} s.` : '';
    const button = (label, action) => element('button', { type: 'button', textContent: label, onclick: action });
    box.append(element('div', { className: 'banner', role: 'status', dataset: { device: device.index } },
      element('span', { textContent: `Device ${device.index} (${device.name}) has a recording that was cut off.${progress}` }),
      button('Recover', () => act(() => api('POST', `devices/${device.index}/recover`))),
      button('Discard', () => {
        if (confirm(`Discard the cut-off recording of device ${device.index}? Its frames will be lost.`)) {
          act(() => api('POST', `devices/${device.index}/discard`));
        }
      })));
  }
}

// Loads the recordings of a device the first time it is selected; later lists are pushed.
function loadFiles(device) {
  if (store.files.has(device)) return;
  store.files.set(device, []);
  act(async () => {
    store.files.set(device, await api('GET', `devices/${device}/files`));
    changed('files');
  });
}

function render(what) {
  renderService();
  if (what !== 'progress') {
    if (!store.selected && store.devices.size > 0) {
      const first = [...store.devices.values()].find((d) => (d.ports || []).length > 0);
      if (first) store.selected = { device: first.index, port: 0 };
    }
    if (store.selected) loadFiles(store.selected.device);
    renderDevices();
    renderPortForm();
    renderRecordPorts();
    renderBanners();
    renderLive();
    renderRecordings();
  }
  renderProgress();
}

on('state', (message) => {
  store.service = message.service;
  store.devices = new Map(message.devices.map((d) => [d.index, d]));
  for (const recording of message.recordings) store.recordings.set(recording.device, recording);
  store.files.clear();
  changed('state');
});
on('service', (message) => { store.service = message; changed('service'); });
on('device', (message) => { store.devices.set(message.device.index, message.device); changed('device'); });
on('files', (message) => {
  store.files.set(message.device, message.files);
  playerFilesChanged(message.device, message.files);
  changed('files');
});
on('recording', (message) => { store.recordings.set(message.recording.device, message.recording); changed('progress'); });
on('recordingEnded', (message) => {
  const recording = store.recordings.get(message.device) || { device: message.device, ports: [] };
  recording.ended = message;
  store.recordings.set(message.device, recording);
  changed('progress');
});
on('rate', (message) => {
  const port = store.devices.get(message.device)?.ports?.[message.port];
  if (port) { port.fps = message.fps; renderDevices(); }
});
on('recovery', (message) => { store.recoveries.set(message.device, message); changed('recovery'); });
on('error', (message) => showError(message.text));
on('closed', () => { store.service = { connected: false, problem: 'the console does not answer' }; renderService(); });

onChange(render);
setupPortForm();
setupRecordForm();
setupLive();
setupRecordings();
setupPlayer();
connect();
