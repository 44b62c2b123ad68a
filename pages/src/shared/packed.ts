/** A text that stands in a page as base 64 of gzip. */
export async function unpacked(coded: string): Promise<string> {
  const packed = Uint8Array.from(atob(coded), (letter) => letter.charCodeAt(0));
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("gzip"));
  return new Response(stream).text();
}
