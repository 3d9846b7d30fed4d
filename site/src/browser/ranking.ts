// Which entries a search finds, and in which order.

export type Kind =
  | "file"
  | "message"
  | "field"
  | "enum"
  | "value"
  | "extension"
  | "service"
  | "method"
  | "guide";

/** Kind, name, number, text, and the anchor where it is not the name. */
export type SearchEntry = [Kind, string, number | null, string, string?];

export interface SearchPage {
  href: string;
  title: string;
  entries: SearchEntry[];
}

export interface Candidate {
  entry: SearchEntry;
  page: SearchPage;
  /** In lower case: the last part of the name, the whole of it, and the text. */
  name: string;
  path: string;
  text: string;
  /** The name as words: eventtype has "event" and "type". */
  words: string[];
  /** The name as JSON has it, but in lower case. */
  json: string;
}

export function prepare(pages: SearchPage[]): Candidate[] {
  return pages.flatMap((page) =>
    page.entries.map((entry) => {
      const [kind, qualified, , text] = entry;
      const last = kind === "guide" ? qualified : qualified.slice(qualified.lastIndexOf(".") + 1);
      return {
        entry,
        page,
        name: last.toLowerCase(),
        path: qualified.toLowerCase(),
        text: text.toLowerCase(),
        words: last
          .replace(/([a-z0-9])([A-Z])/g, "$1 $2")
          .toLowerCase()
          .split(/[^a-z0-9]+/),
        json: last.replaceAll("_", "").toLowerCase(),
      };
    }),
  );
}

// What is declared comes before its parts, and a field only before what is found in texts: its name
// is often a plain word. Numbers are looked for among values first.
const weight: Record<Kind, number> = {
  message: 9,
  enum: 8,
  service: 8,
  file: 7,
  guide: 6,
  method: 5,
  extension: 4,
  value: 3,
  field: -35,
};
const numberWeight: Partial<Record<Kind, number>> = { value: 9, extension: 6 };

const beginsWord = (text: string, word: string) => {
  const at = text.indexOf(word);
  if (at <= 0) return at === 0;
  return !/[a-z0-9]/.test(text[at - 1]) || text.includes(` ${word}`);
};

function score({ entry, name, path, text, words, json }: Candidate, term: string): number {
  const [kind, , number] = entry;
  if (/^\d+$/.test(term) && number === Number(term)) return 90 + (numberWeight[kind] ?? 0);
  if (name === term || path === term) return 100;
  if (json === term) return 90;
  if (name.startsWith(term)) return 80;
  if (words.some((word) => word === term)) return 70;
  if (words.some((word) => word.startsWith(term))) return 60;
  if (name.includes(term)) return 50;
  if (path.includes(term)) return 40;
  if (beginsWord(text, term)) return 20;
  return text.includes(term) ? 10 : 0;
}

/**
 * The words of a query. Names may be as C++, text format, JSON, calls and includes have them: with
 * their package, an extension in brackets, a method as /SERVICE/METHOD, a file with its folder.
 */
const termsOf = (query: string) =>
  query
    .toLowerCase()
    .replace(/::/g, ".")
    .replace(/["'[\]{}]/g, "")
    .replace(/(?:[\w./]*\/)?(?:cmnsys\.)?([\w.]+)\.proto\b/g, "$1")
    .replace(/\bpb\.[\w.]*\.(?=\w)/g, "")
    .replace(/\/?\b(\w+)\/(\w+)/g, "$1.$2")
    .split(/\s+/)
    .filter(Boolean);

/** The best entries in which every term of the query is found. */
export function search(candidates: Candidate[], query: string, limit: number): Candidate[] {
  const terms = termsOf(query);
  if (terms.length === 0) return [];
  const found: { candidate: Candidate; points: number }[] = [];
  for (const candidate of candidates) {
    let points = weight[candidate.entry[0]];
    let matches = true;
    for (const term of terms) {
      const one = score(candidate, term);
      if (one === 0) {
        matches = false;
        break;
      }
      points += one / terms.length;
    }
    // Of equal ones, the shorter name is nearer to what was typed.
    if (matches) found.push({ candidate, points: points - candidate.path.length / 100 });
  }
  return found
    .sort((a, b) => b.points - a.points)
    .slice(0, limit)
    .map(({ candidate }) => candidate);
}
