// Where the build finds what the site is made of; build.mjs sets it.

function path(name: string): string {
  const value = process.env[name];
  if (!value) throw new Error(`${name} is not set: build the site with "make site".`);
  return value;
}

export const inputs = {
  descriptorSet: path("CMNSYS_SITE_DESCRIPTOR_SET"),
  pairings: path("CMNSYS_SITE_PAIRINGS"),
  samples: path("CMNSYS_SITE_SAMPLES"),
  /** The root of the repository: guides, and the page on the schema. */
  source: path("CMNSYS_SITE_SOURCE"),
};
