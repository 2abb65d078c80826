// SPDX-License-Identifier: BSD-3-Clause
// @ts-check

/** Gives a file to the user. @param {Blob} blob @param {string} name */
export function download(blob, name) {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(blob);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

/**
 * What is seen, names and values and waves, on one canvas.
 * @param {{pixels: HTMLCanvasElement, overlay: HTMLCanvasElement, colors: Record<string, string>, ratio: number}} waves
 * @param {{y: number, height: number, name: string, value: string}[]} rows
 * @param {number} namesWidth in CSS pixels
 */
export function composePicture(waves, rows, namesWidth) {
  const { ratio, colors } = waves;
  const canvas = document.createElement('canvas');
  canvas.width = waves.pixels.width + Math.round(namesWidth * ratio);
  canvas.height = waves.pixels.height;
  const context = /** @type {CanvasRenderingContext2D} */ (canvas.getContext('2d'));
  context.fillStyle = colors.page;
  context.fillRect(0, 0, canvas.width, canvas.height);
  context.drawImage(waves.pixels, namesWidth * ratio, 0);
  context.drawImage(waves.overlay, namesWidth * ratio, 0);
  context.setTransform(ratio, 0, 0, ratio, 0, 0);
  context.font = '12px ui-monospace, "DejaVu Sans Mono", monospace';
  context.textBaseline = 'middle';
  for (const row of rows) {
    const y = row.y + row.height / 2;
    context.fillStyle = colors.text;
    context.textAlign = 'left';
    context.fillText(row.name, 8, y, namesWidth * 0.62);
    context.fillStyle = colors.bus;
    context.textAlign = 'right';
    context.fillText(row.value, namesWidth - 8, y, namesWidth * 0.33);
  }
  return canvas;
}
