// The site under test: its files, and a browser that shows it.

import { readdirSync, readFileSync } from "node:fs";
import { createServer } from "node:http";
import { extname, join } from "node:path";
import { chromium } from "playwright-core";

export const folder = process.env.CMNSYS_SITE;
export const cmnsys = process.env.CMNSYS_TOOL;

export const pages = readdirSync(folder, { recursive: true })
  .filter((path) => path.endsWith(".html"))
  .map((path) => ({ path, html: readFileSync(join(folder, path), "utf8") }));

const types = { ".html": "text/html", ".css": "text/css", ".js": "text/javascript", ".svg": "image/svg+xml" };

export async function openSite() {
  const server = createServer((request, response) => {
    try {
      const path = decodeURIComponent(new URL(request.url, "http://host").pathname);
      const body = readFileSync(join(folder, path));
      response.writeHead(200, { "content-type": types[extname(path)] }).end(body);
    } catch {
      response.writeHead(404).end();
    }
  });
  await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
  const browser = await chromium.launch({
    executablePath: process.env.CMNSYS_CHROMIUM,
    args: [
      "--headless",
      "--no-sandbox",
      "--disable-gpu",
      "--disable-quic",
      "--no-first-run",
      "--disable-background-networking",
      "--disable-component-update",
      "--disable-sync",
    ],
  });
  const origin = `http://127.0.0.1:${server.address().port}`;
  const problems = [];

  /** A page whose errors, and requests to other places, go to problems. */
  async function open(path, options = {}) {
    const context = await browser.newContext({ baseURL: `${origin}/`, ...options });
    context.setDefaultTimeout(120_000);
    const page = await context.newPage();
    page.on("pageerror", (error) => problems.push(`${path}: ${error.message}`));
    page.on("request", (request) => {
      const url = request.url();
      if (!url.startsWith(origin) && !url.startsWith("file:")) problems.push(`${path} asked for ${url}`);
    });
    page.on("response", (response) => {
      if (response.status() >= 400) problems.push(`${path}: ${response.url()} is not there`);
    });
    await page.goto(path);
    return page;
  }

  async function close() {
    await browser.close();
    server.close();
  }

  return { open, close, problems };
}
