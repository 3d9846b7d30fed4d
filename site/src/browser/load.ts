// Loads data that the site holds as a script, once; scripts load from a plain folder too.

export const root = new URL("..", (document.currentScript as HTMLScriptElement).src).href;

const loading = new Map<string, Promise<unknown>>();

/** The global variable that the script data/NAME.js sets. */
export function load<T>(name: string, variable: string): Promise<T> {
  let promise = loading.get(name);
  if (!promise) {
    promise = new Promise((resolve, reject) => {
      const script = document.createElement("script");
      script.src = `${root}data/${name}.js`;
      script.onload = () => resolve((globalThis as Record<string, unknown>)[variable]);
      script.onerror = () => {
        loading.delete(name);
        reject(new Error(`data/${name}.js could not be loaded`));
      };
      document.head.append(script);
    });
    loading.set(name, promise);
  }
  return promise as Promise<T>;
}
