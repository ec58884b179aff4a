// Devices and their ports, and the form that pairs and configures the selected port.
import { act, api, element } from './api.js';
import { changed, selectedDevice, selectedPort, store } from './store.js';

function fill(percent) {
  const bar = element('span');
  bar.style.width = `${percent || 0}%`;
  return element('span', { className: 'fill', title: `${percent}% used` }, bar);
}

function portRow(device, port) {
  const config = port.config || {};
  const geometry = config.width ? `${config.width}×${config.height}` : 'not configured';
  const row = element('tr', { dataset: { device: device.index, port: port.index } },
    element('td', { textContent: `${port.index} ${port.name ?? ''}` }),
    element('td', { textContent: port.camera || '(no camera)' }),
    element('td', { textContent: geometry }),
    element('td', { className: 'port-fps', textContent: port.fps ? `${port.fps.toFixed(1)} fps` : '' }));
  if (store.selected && store.selected.device === device.index && store.selected.port === port.index) {
    row.classList.add('selected');
  }
  row.onclick = () => { store.selected = { device: device.index, port: port.index }; changed('selection'); };
  return row;
}

export function renderDevices() {
  const list = document.getElementById('devices');
  list.replaceChildren();
  if (store.devices.size === 0) {
    list.append(element('p', { className: 'hint', textContent: store.service.connected
      ? 'The service has no devices. Connect a recorder, or start the service with TAVUSRV_ENABLE_EMULATOR=1.'
      : 'Waiting for the service…' }));
    return;
  }
  for (const device of store.devices.values()) {
    const kind = [device.kind, device.isCxp ? 'CoaXPress' : null].filter(Boolean).join(', ');
    const box = element('div', { className: `device ${device.connected ? '' : 'disconnected'}`, dataset: { device: device.index } },
      element('h3', { textContent: `${device.index}: ${device.name ?? '?'}` }),
      element('div', {},
        element('span', { className: 'connected', textContent: device.connected ? 'connected' : 'not connected' }),
        ` · ${kind} · drive set `, fill(device.percentUsed), ` ${device.percentUsed ?? '?'}% used`));
    const ports = element('table', { className: 'ports' },
      element('thead', {}, element('tr', {}, ...['Port', 'Camera', 'Geometry', 'Rate'].map((t) => element('th', { textContent: t })))),
      element('tbody', {}, ...(device.ports || []).map((port) => portRow(device, port))));
    box.append(ports);
    list.append(box);
  }
}

export function renderPortForm() {
  const form = document.getElementById('port-form');
  const device = selectedDevice();
  const port = selectedPort();
  document.getElementById('port-title').textContent = port ? `${port.index} (${port.name}) of device ${device.index}` : '';
  for (const input of form.querySelectorAll('input, button')) input.disabled = !port;
  if (!port) return;
  // Values the user is typing stay; a change of selection fills the form anew.
  const key = `${device.index}/${port.index}`;
  if (form.dataset.key !== key) {
    form.dataset.key = key;
    form.elements.camera.value = port.camera || '';
    form.elements.framesPerPacket.value = port.framesPerPacket || 1;
    const config = port.config || {};
    form.elements.width.value = config.width || '';
    form.elements.height.value = config.height || '';
    form.elements.pixelFormat.value = config.pixelFormat ?? 0;
    form.elements.tapGeometry.value = config.tapGeometry ?? 0;
  }
}

// Checks the fields that an action needs; says what is wrong next to the form.
function checked(form, names) {
  const problem = document.getElementById('port-problem');
  for (const name of names) {
    const input = form.elements[name];
    if (!input.checkValidity() || (input.type === 'number' && !Number.isInteger(Number(input.value)))) {
      problem.textContent = `${input.closest('label').textContent.trim()}: ${input.validationMessage || 'not a whole number'}`;
      input.focus();
      return false;
    }
  }
  problem.textContent = '';
  return true;
}

export function setupPortForm() {
  const form = document.getElementById('port-form');
  const path = () => `devices/${store.selected.device}/ports/${store.selected.port}`;
  document.getElementById('pair-button').onclick = () => {
    if (!checked(form, ['camera', 'framesPerPacket'])) return;
    act(() => api('POST', `${path()}/pair`, { camera: form.elements.camera.value, framesPerPacket: Number(form.elements.framesPerPacket.value) }));
  };
  document.getElementById('unpair-button').onclick = () => act(() => api('POST', `${path()}/unpair`));
  document.getElementById('config-button').onclick = () => {
    if (!checked(form, ['width', 'height', 'pixelFormat', 'tapGeometry'])) return;
    act(() => api('POST', `${path()}/config`, {
      width: Number(form.elements.width.value), height: Number(form.elements.height.value),
      pixelFormat: Number(form.elements.pixelFormat.value), tapGeometry: Number(form.elements.tapGeometry.value),
    }));
  };
  renderPortForm();
}
