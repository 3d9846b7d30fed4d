import starlight from "@astrojs/starlight";
import { defineConfig } from "astro/config";
import { rehypeGuideLinks } from "./src/markdown.ts";
import { areas, siblings } from "./src/schema/areas.ts";
import { guides } from "./src/schema/guides.ts";
import { fileHref } from "./src/schema/links.ts";
import { shortFileName } from "./src/schema/schema.ts";

const fileLink = (file) => ({ label: shortFileName(file), link: fileHref(file) });

export default defineConfig({
  outDir: process.env.CMNSYS_SITE_OUTPUT,
  cacheDir: process.env.CMNSYS_SITE_CACHE,
  build: { format: "file", inlineStylesheets: "never" },
  prefetch: false,
  image: { service: { entrypoint: "astro/assets/services/noop" } },
  markdown: {
    smartypants: false,
    rehypePlugins: [rehypeGuideLinks],
    shikiConfig: { themes: { light: "github-light", dark: "github-dark" }, defaultColor: false },
  },
  vite: { logLevel: "warn" },
  integrations: [
    // A site map needs the address of the site, which is wherever the files are put: this takes the
    // place of the one that Starlight would add.
    { name: "@astrojs/sitemap", hooks: {} },
    starlight({
      title: "CmnSysProtoBuf",
      pagefind: false,
      expressiveCode: false,
      credits: false,
      disable404Route: true,
      favicon: "/favicon.svg",
      customCss: ["./src/styles/site.css"],
      components: { Search: "./src/components/Search.astro" },
      sidebar: [
        { label: "Overview", link: "/" },
        { label: "Decoder", link: "/decoder.html" },
        {
          label: "Across the files",
          items: [
            { label: "Events", link: "/events.html" },
            { label: "Services", link: "/services.html" },
            { label: "Selectors", link: "/selectors.html" },
          ],
        },
        {
          label: "Guides",
          collapsed: true,
          items: guides.map(({ id, title }) => ({ label: title, link: `/${id}.html` })),
        },
        ...areas.map((area) => ({
          label: area.name,
          collapsed: true,
          items: [...area.data, ...area.services].map(fileLink),
        })),
        { label: "Siblings", collapsed: true, items: siblings.map(fileLink) },
      ],
    }),
  ],
});
