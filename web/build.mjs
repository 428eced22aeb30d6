// Builds the page.
//
//   node build.mjs        dist/: what the server embeds
//   node build.mjs unit   build/unit/: the unit tests, for node's test runner
//
// Scripts and styles get the hash of their contents into their names, so that browsers may keep them for good. The
// pages in static/ name them as {{main.js}}, {{style.css}} and so on.
import { build } from 'esbuild';
import { cp, mkdir, readdir, readFile, rm, writeFile } from 'node:fs/promises';
import { basename, join } from 'node:path';

const common = {
  bundle: true,
  format: 'esm',
  target: ['es2022', 'safari15.4'],
  jsx: 'automatic',
  jsxImportSource: 'preact',
  logLevel: 'warning',
};

async function buildUnitTests() {
  await rm('build/unit', { recursive: true, force: true });
  const files = (await readdir('tests/unit')).filter((name) => name.endsWith('.test.ts'));
  await build({
    ...common,
    platform: 'node',
    target: 'node18',
    entryPoints: files.map((name) => join('tests/unit', name)),
    outdir: 'build/unit',
    outExtension: { '.js': '.mjs' },
  });
}

async function buildPage() {
  await rm('dist', { recursive: true, force: true });
  await mkdir('dist', { recursive: true });
  const result = await build({
    ...common,
    minify: true,
    splitting: true,
    metafile: true,
    legalComments: 'none',
    entryPoints: ['src/main.tsx', 'src/login.ts', 'src/check.ts', 'src/style.css'],
    entryNames: 'assets/[name]-[hash]',
    chunkNames: 'assets/[name]-[hash]',
    outdir: 'dist',
  });
  const names = new Map();
  for (const [path, output] of Object.entries(result.metafile.outputs)) {
    if (!output.entryPoint) continue;
    const name = basename(output.entryPoint).replace(/\.tsx?$/, '.js');
    names.set(name, '/assets/' + basename(path));
  }
  await cp('static', 'dist', { recursive: true });
  for (const file of await readdir('dist')) {
    if (!file.endsWith('.html')) continue;
    const page = await readFile(join('dist', file), 'utf8');
    const filled = page.replace(/\{\{([\w.]+)\}\}/g, (_, name) => {
      if (!names.has(name)) throw new Error(`${file} names ${name}, which is not built`);
      return names.get(name);
    });
    await writeFile(join('dist', file), filled);
  }
}

await (process.argv[2] === 'unit' ? buildUnitTests() : buildPage());
