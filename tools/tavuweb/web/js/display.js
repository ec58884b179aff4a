// Showing 16-bit frames that the console reduced to grey: the image with zoom, the window
// (automatic or set by hand) and the histogram. Used by live view and by the player.
import { element } from './api.js';

// A message of the console: a 4-byte length, a JSON header, then the grey pixels.
export function parseDisplay(buffer) {
  const length = new DataView(buffer).getUint32(0, true);
  const header = JSON.parse(new TextDecoder().decode(new Uint8Array(buffer, 4, length)));
  return { header, grey: new Uint8Array(buffer, 4 + length) };
}

const Zooms = [['fit', 0], ['1:1', 1], ['2:1', 2], ['4:1', 4]];

export class ImageView {
  constructor(container, onChange) {
    this.onChange = onChange;
    this.zoom = 0;
    this.center = null;
    this.last = null;
    this.canvas = element('canvas', { className: 'image', width: 1, height: 1 });
    this.screen = element('div', { className: 'screen' }, this.canvas);
    this.auto = element('input', { type: 'checkbox', checked: true, name: 'auto' });
    this.low = element('input', { type: 'number', min: 0, max: 65535, value: 0, name: 'low', disabled: true });
    this.high = element('input', { type: 'number', min: 0, max: 65535, value: 65535, name: 'high', disabled: true });
    this.zoomSelect = element('select', { name: 'zoom' },
      ...Zooms.map(([label, value]) => element('option', { value, textContent: label })));
    this.histogram = element('canvas', { className: 'histogram', width: 256, height: 80 });
    this.info = element('div', { className: 'info' });
    const controls = element('div', { className: 'controls' },
      element('label', {}, this.auto, ' automatic window'),
      element('div', {}, element('label', {}, 'Low ', this.low), element('label', {}, 'High ', this.high)),
      element('label', {}, 'Zoom ', this.zoomSelect),
      this.histogram, this.info);
    container.append(element('div', { className: 'view' }, this.screen, controls));

    this.auto.onchange = () => {
      this.low.disabled = this.high.disabled = this.auto.checked;
      this.changed();
    };
    for (const input of [this.low, this.high]) {
      input.oninput = () => {
        const valid = this.windowValid();
        this.low.classList.toggle('invalid', !valid);
        this.high.classList.toggle('invalid', !valid);
        if (valid) this.changed();
      };
    }
    this.zoomSelect.onchange = () => { this.zoom = Number(this.zoomSelect.value); this.changed(); };
    this.canvas.onclick = (event) => this.clicked(event);
  }

  windowValid() {
    const low = Number(this.low.value);
    const high = Number(this.high.value);
    return Number.isInteger(low) && Number.isInteger(high) && low >= 0 && high <= 65535 && low < high;
  }

  changed() { if (this.onChange) this.onChange(this.request()); }

  // The box the image is shown in, in device pixels.
  box() {
    const ratio = window.devicePixelRatio || 1;
    return Math.max(64, Math.round((this.screen.clientWidth || 640) * ratio));
  }

  // What to ask the console for.
  request() {
    const box = this.box();
    const request = { maxWidth: box, maxHeight: box };
    if (this.zoom > 0 && this.last) {
      const { frameWidth, frameHeight } = this.last.header;
      const size = Math.max(1, Math.floor(box / this.zoom));
      const center = this.center || [frameWidth / 2, frameHeight / 2];
      const width = Math.min(size, frameWidth);
      const height = Math.min(size, frameHeight);
      request.x = Math.max(0, Math.min(frameWidth - width, Math.round(center[0] - width / 2)));
      request.y = Math.max(0, Math.min(frameHeight - height, Math.round(center[1] - height / 2)));
      request.width = width;
      request.height = height;
      request.maxWidth = width;
      request.maxHeight = height;
    }
    if (!this.auto.checked && this.windowValid()) {
      request.window = { low: Number(this.low.value), high: Number(this.high.value) };
    }
    return request;
  }

  clicked(event) {
    if (!this.last) return;
    const h = this.last.header;
    if (this.zoom > 0) {
      this.zoom = 0;
    } else {
      const rect = this.canvas.getBoundingClientRect();
      this.center = [h.x + (event.clientX - rect.left) / rect.width * h.width,
        h.y + (event.clientY - rect.top) / rect.height * h.height];
      this.zoom = 1;
    }
    this.zoomSelect.value = String(this.zoom);
    this.changed();
  }

  draw(frame) {
    const { header, grey } = frame;
    this.last = frame;
    const { outWidth: width, outHeight: height } = header;
    if (this.canvas.width !== width || this.canvas.height !== height) {
      this.canvas.width = width;
      this.canvas.height = height;
    }
    const ratio = window.devicePixelRatio || 1;
    const scale = this.zoom > 0 ? this.zoom / ratio : 1 / ratio;
    this.canvas.style.width = `${width * scale}px`;
    this.canvas.style.height = `${height * scale}px`;
    this.canvas.classList.toggle('zoomed', this.zoom > 0);
    const context = this.canvas.getContext('2d');
    const image = context.createImageData(width, height);
    const rgba = new Uint32Array(image.data.buffer);
    for (let i = 0; i < width * height; ++i) {
      rgba[i] = 0xff000000 | (grey[i] * 0x010101);
    }
    context.putImageData(image, 0, 0);
    if (this.auto.checked) {
      this.low.value = header.low;
      this.high.value = header.high;
    }
    this.drawHistogram(header);
    this.info.textContent = `${header.frameWidth}×${header.frameHeight}, showing ${header.width}×${header.height} ` +
      `at ${header.x},${header.y}; values ${header.min}–${header.max}, window ${header.low}–${header.high}`;
  }

  drawHistogram(header) {
    const context = this.histogram.getContext('2d');
    const { width, height } = this.histogram;
    context.clearRect(0, 0, width, height);
    const bins = header.histogram;
    const top = Math.log1p(Math.max(...bins));
    context.fillStyle = '#4a5568';
    bins.forEach((count, bin) => {
      const h = top > 0 ? Math.log1p(count) / top * height : 0;
      context.fillRect(bin, height - h, 1, h);
    });
    const span = Math.max(1, header.max - header.min + 1);
    context.fillStyle = '#c53030';
    for (const value of [header.low, header.high]) {
      const x = Math.max(0, Math.min(width - 1, Math.round((value - header.min) / span * width)));
      context.fillRect(x, 0, 1, height);
    }
  }
}
