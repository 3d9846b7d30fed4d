import { defineCollection } from "astro:content";
import { docsSchema } from "@astrojs/starlight/schema";
import { guides } from "./schema/guides.ts";

export const collections = {
  docs: defineCollection({
    loader: {
      name: "guides",
      async load({ store, parseData, renderMarkdown, generateDigest }) {
        // One after the other: calls at once would each set up a highlighter of their own.
        const entries = [];
        for (const { id, title, body } of guides) {
          entries.push({
            id,
            data: await parseData({ id, data: { title, prev: false, next: false } }),
            body,
            digest: generateDigest(body),
            rendered: await renderMarkdown(body),
          });
        }
        // All at once: the store is saved when nothing has changed for a while, which on a busy
        // machine may be while the next entry is made.
        store.clear();
        entries.forEach((entry) => store.set(entry));
      },
    },
    schema: docsSchema(),
  }),
};
