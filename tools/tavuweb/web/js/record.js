// Starting, triggering and stopping recordings, and their progress per port.
import { act, api, element } from './api.js';
import { selectedDevice, store } from './store.js';

export function setupRecordForm() {
  const form = document.getElementById('record-form');
  const fields = form.elements;
  const toggle = () => {
    document.getElementById('count-label').hidden = fields.stop.value !== 'frames';
    document.getElementById('seconds-label').hidden = fields.stop.value !== 'time';
    document.getElementById('pretrigger-label').hidden = fields.trigger.value !== 'pretrigger';
  };
  fields.stop.onchange = toggle;
  fields.trigger.onchange = toggle;
  toggle();
  const problem = document.getElementById('record-problem');
  const device = () => selectedDevice();

  document.getElementById('record-start').onclick = () => {
    const chosen = [...form.querySelectorAll('#record-ports input:checked')].map((input) => Number(input.value));
    const request = { ports: chosen, stop: fields.stop.value, trigger: fields.trigger.value, externalStop: fields.externalStop.checked };
    const number = (input, min) => {
      const value = Number(input.value);
      if (!Number.isInteger(value) || value < min) throw new Error(`${input.closest('label').textContent.trim()} must be a whole number of at least ${min}`);
      return value;
    };
    try {
      if (!device()) throw new Error('choose a device (click one of its ports)');
      if (chosen.length === 0) throw new Error('choose at least one port to record');
      if (request.stop === 'frames') request.count = number(fields.count, 1);
      if (request.stop === 'time') request.seconds = number(fields.seconds, 1);
      if (request.trigger === 'pretrigger') request.pretrigger = number(fields.pretrigger, 0);
    } catch (error) {
      problem.textContent = error.message;
      return;
    }
    problem.textContent = '';
    act(() => api('POST', `devices/${device().index}/record`, request));
  };
  document.getElementById('record-trigger').onclick = () => device() && act(() => api('POST', `devices/${device().index}/trigger`));
  document.getElementById('record-stop').onclick = () => device() && act(() => api('POST', `devices/${device().index}/stop`));
}

// The port choice follows the selected device.
export function renderRecordPorts() {
  const box = document.getElementById('record-ports');
  const device = selectedDevice();
  const key = device ? `${device.index}:${(device.ports || []).map((p) => p.name).join(',')}` : '';
  if (box.dataset.key === key) return;
  box.dataset.key = key;
  box.replaceChildren();
  if (!device) {
    box.append(element('p', { className: 'hint', textContent: 'Click a port of a device to record on it.' }));
    return;
  }
  box.append(`Device ${device.index}, ports: `);
  for (const port of device.ports || []) {
    box.append(element('label', {},
      element('input', { type: 'checkbox', value: port.index, name: 'port', checked: port.index === store.selected.port }),
      ` ${port.index} ${port.name}`));
  }
}

function portState(recording, port) {
  if (port.inPretrigger) return ['waiting for trigger (pre-trigger loop running)', true];
  if (recording.waitsForTrigger && port.frames === 0) return ['waiting for trigger', true];
  if (recording.ended) return ['ended', false];
  if (recording.done) return ['done', false];
  return ['recording', false];
}

export function renderProgress() {
  const box = document.getElementById('progress');
  box.replaceChildren();
  for (const recording of store.recordings.values()) {
    box.append(element('h3', { textContent: `Device ${recording.device}: ${recording.ended ? 'last recording' : 'recording'}` }));
    for (const port of recording.ports) {
      const [words, waiting] = portState(recording, port);
      let fraction = null;
      if (recording.stop === 'frames' && recording.count) fraction = Math.min(1, port.frames / recording.count);
      if (recording.stop === 'time' && recording.count) fraction = Math.min(1, recording.elapsed / (recording.count / 1e6));
      const bar = element('span');
      bar.style.width = fraction === null ? '100%' : `${(fraction * 100).toFixed(1)}%`;
      const percent = fraction === null ? '' : ` · ${Math.floor(fraction * 100)} %`;
      box.append(
        element('div', { className: waiting ? 'trigger-wait' : '' },
          `Port ${port.port}: ${port.frames} frames${recording.count && recording.stop === 'frames' ? ` of ${recording.count}` : ''}` +
          `${percent} · ${port.fps ? port.fps.toFixed(1) : '0'} fps · ${words}`),
        element('div', { className: `bar ${fraction === null ? 'indeterminate' : ''}`, dataset: { port: port.port, fraction: fraction ?? '' } }, bar));
    }
    if (recording.ended) box.append(endedText(recording.ended));
  }
}

// The end of a recording stays under its bars until the next one starts.
function endedText(ended) {
  const frames = ended.ports.map((p) => `port ${p.port}: ${p.frames} frames`).join(', ');
  const notes = ended.notes.length ? ` — ended short: ${ended.notes.join('; ')}` : '';
  return element('p', { className: `ended ${ended.short ? 'short' : ''}` },
    `The recording ${ended.reason} (${frames})${notes}.`);
}
