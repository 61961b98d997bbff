// The bytes that mean something of their own to the library. Three meanings
// share the byte 0x1A; each has its name so a reader sees which is meant.
#pragma once

namespace tolvik {

// Ends a text-mode input, as old editors wrote it; the library never writes
// it into a file's text, since every later read would stop there.
inline constexpr char kEndOfText = '\x1a';
// A table cell that holds no value ("..." to the host): in update and write
// modes it asks to keep what the file has.
inline constexpr char kEmptyCell[] = "\x1a";
// A table cell that asks an update or write to remove an attribute or entry.
inline constexpr char kDeleteMark[] = "\x08";
// Ends every argument of an error record and every item of a message.
inline constexpr char kSeparator = '\x1a';

}  // namespace tolvik
