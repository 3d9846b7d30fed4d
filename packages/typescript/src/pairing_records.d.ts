// The records of pairings.json, which the build writes as a module.

export declare const records: Record<
  string,
  {
    readonly pattern: string;
    readonly selector?: string;
    readonly values?: Record<
      string,
      { readonly number: number; readonly path: readonly string[]; readonly type?: string }
    >;
    readonly alternatives?: readonly { readonly path: readonly string[]; readonly type: string }[];
  }
>;
