// Clipboard text as each side writes it: Windows ends lines with CR LF, pages with LF. Pure.

export const forHost = (text) => text.replace(/\r?\n/g, '\r\n');
export const forPage = (text) => text.replace(/\r\n/g, '\n');
