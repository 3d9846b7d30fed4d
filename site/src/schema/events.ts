// Event types by category. The categories number the blocks of event types in their order, and the
// comment of each tells what its block is about.

import type { DescEnum, DescEnumValue, DescExtension, DescMessage } from "@bufbuild/protobuf";
import { selectedBy } from "./pairings.ts";
import { comment, registry } from "./schema.ts";

export interface EventCategory {
  slug: string;
  title: string;
  first: number;
  category: DescEnumValue;
  envelope: DescMessage;
  events: { value: DescEnumValue; payload?: DescExtension }[];
}

const blockSize = 1000;

export function eventCategories(): EventCategory[] {
  const envelope = registry.getMessage("Pb.CmnSys.Events.Event")!;
  const types: DescEnum = registry.getEnum("Pb.CmnSys.Events.EventType")!;
  const categories: DescEnum = registry.getEnum("Pb.CmnSys.Events.EventCategory")!;
  const blocks = new Map<number, DescEnumValue[]>();
  for (const value of types.values) {
    const block = Math.floor(value.number / blockSize);
    if (block > 0) blocks.set(block, [...(blocks.get(block) ?? []), value]);
  }
  return [...blocks.keys()]
    .sort((a, b) => a - b)
    .map((block, i) => {
      const category = categories.value[i + 1];
      const about = comment(category).split(": ").at(-1)!.replace(/\.( Misspelt\.)?$/, "");
      return {
        slug: `block-${block * blockSize}`,
        title: about[0].toUpperCase() + about.slice(1),
        first: block * blockSize,
        category,
        envelope,
        events: blocks.get(block)!.map((value) => ({
          value,
          payload: selectedBy(value)[0]?.path[0] as DescExtension | undefined,
        })),
      };
    });
}
