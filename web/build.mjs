// Builds the page into the folder given as the first argument (default: dist/): one script bundle with its
// styles, the HTML and the page's own stylesheet. Nothing is fetched at run time.
import { build } from 'esbuild';
import { copyFileSync, mkdirSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

const here = dirname(fileURLToPath(import.meta.url));
const out = process.argv[2] ?? join(here, 'dist');
mkdirSync(out, { recursive: true });
await build({
  entryPoints: [join(here, 'src/ui/main.ts')],
  bundle: true, minify: true, sourcemap: true, format: 'iife', target: 'es2022',
  outfile: join(out, 'main.js'), loader: { '.png': 'file' }, logLevel: 'warning',
});
for (const file of ['index.html', 'page.css']) copyFileSync(join(here, 'src', file), join(out, file));
