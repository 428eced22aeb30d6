// Pictures of the mock server: landscapes and portraits as SVG, each id with its own colors and shapes.

function random(seed) {
  const x = Math.sin(seed * 12.9898) * 43758.5453;
  return x - Math.floor(x);
}

export function landscape(id, width, height, side) {
  const scale = Math.min(1, side / Math.max(width, height));
  const r = (n) => random(id * 13 + n);
  const sky = 190 + r(1) * 50 - (r(2) < 0.25 ? 170 : 0);
  const warm = r(2) < 0.25;
  const hills = (base, n) => {
    let points = `0,${height} `;
    for (let i = 0; i <= 6; i++) points += `${(i / 6) * width},${height * (base - r(n + i) * 0.22)} `;
    return points + `${width},${height}`;
  };
  const green = 90 + r(3) * 60;
  return `<svg xmlns="http://www.w3.org/2000/svg" width="${Math.round(width * scale)}" height="${Math.round(height * scale)}" viewBox="0 0 ${width} ${height}">
<defs><linearGradient id="a" x1="0" y1="0" x2="0" y2="1"><stop offset="0" stop-color="hsl(${sky},${warm ? 70 : 55}%,${warm ? 58 : 62}%)"/><stop offset="1" stop-color="hsl(${sky + 30},70%,88%)"/></linearGradient></defs>
<rect width="${width}" height="${height}" fill="url(#a)"/>
<circle cx="${width * (0.15 + r(4) * 0.7)}" cy="${height * (0.15 + r(5) * 0.25)}" r="${width * 0.05}" fill="#fff6d8" opacity=".9"/>
<polygon points="${hills(0.62, 10)}" fill="hsl(${sky + 10},26%,52%)"/>
<polygon points="${hills(0.78, 20)}" fill="hsl(${green},30%,38%)"/>
<polygon points="${hills(0.95, 30)}" fill="hsl(${green + 8},36%,26%)"/></svg>`;
}

export function portrait(id) {
  const hue = random(id) * 360;
  const skin = 22 + random(id + 1) * 14;
  return `<svg xmlns="http://www.w3.org/2000/svg" width="200" height="200" viewBox="0 0 200 200"><rect width="200" height="200" fill="hsl(${hue},35%,78%)"/>
<ellipse cx="100" cy="200" rx="78" ry="60" fill="hsl(${hue + 140},35%,48%)"/><ellipse cx="100" cy="92" rx="60" ry="66" fill="hsl(${hue + 200},30%,${20 + random(id + 2) * 30}%)"/>
<ellipse cx="100" cy="105" rx="46" ry="55" fill="hsl(${skin},55%,${62 + random(id + 3) * 18}%)"/><circle cx="83" cy="98" r="5" fill="#333"/><circle cx="117" cy="98" r="5" fill="#333"/><path d="M82 126 q18 15 36 0" fill="none" stroke="#a44" stroke-width="4"/></svg>`;
}
