/*
 * tolvik32.h - the Tolvik File Management Library, public C interface.
 *
 * The library reads and rewrites the plain-text source files of VORL controller
 * programs. A host opens a file of one kind, receives a handle to a table of text
 * cells, reads and changes cells, and then discards the table or writes it back.
 * Writing back rewrites only what the table covers; every other byte of the file
 * is kept.
 *
 * Conventions shared by every export:
 *  - Results are 32-bit: -1 (all bits set) is success, 0 is failure. Two read
 *    exports return a length + 1 instead of -1; test for non-zero.
 *  - A handle is an opaque 32-bit token, never 0 when valid. A closed or unknown
 *    token is refused with result 0.
 *  - An empty cell reads as "..." (with result 0); writing "..." empties a cell.
 *  - Exports that take an error buffer write an error record into it:
 *      code SUB arg1 SUB arg2 SUB arg3 SUB arg4 SUB      (SUB = byte 0x1A)
 *    Codes: "0" success, "2" content error, "3" file not accessible,
 *    "4" file missing, "5" wrong kind of file, "101" profile request missing.
 *    Give a buffer of at least 2100 bytes.
 *  - On 32-bit Windows every export uses __stdcall; elsewhere the platform's
 *    default convention.
 *  - Different handles may be used from different threads at the same time.
 */
#ifndef TOLVIK32_H
#define TOLVIK32_H

#include <stdint.h>

#if defined(_WIN32) && !defined(_WIN64)
#define TOLVIK_CALL __stdcall
#else
#define TOLVIK_CALL
#endif

#if defined(TOLVIK32_STATIC)
#define TOLVIK_API
#elif defined(_WIN32)
#if defined(TOLVIK32_BUILD)
/* The DLL's exports, names and ordinals come from windows/Tolvik32.def. */
#define TOLVIK_API
#else
#define TOLVIK_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define TOLVIK_API __attribute__((visibility("default")))
#else
#define TOLVIK_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The byte that marks an empty cell inside the library and separates the items
 * of an error record. */
#define TOLVIK_SEPARATOR '\x1A'
/* A cell holding only this byte asks a write-back to remove the entry. */
#define TOLVIK_DELETE_MARK '\x08'

/* Identification. `name` receives "Tolvik File Management Library" (31 bytes with
 * the terminator); `info` (at least 13 bytes) receives the interface constants in
 * bytes 4 to 12; bytes 0 to 3 are left as they are. Always -1. */
TOLVIK_API int32_t TOLVIK_CALL TolvikDLLIDRequest(char* name, uint8_t* info);

/* A new table of *rows x *cols empty cells. Always -1; *handle is 0 only when no
 * handle could be made. */
TOLVIK_API int32_t TOLVIK_CALL IntpOpenWrite(uint32_t* handle, uint16_t* rows, uint16_t* cols);

/* Copies cell (*row, *col) into `value` and its length into *length. An empty
 * cell gives "...", length 3 and result 0. When the table holds a text body
 * (embedded files) the whole text is returned and row/col are ignored. */
TOLVIK_API int32_t TOLVIK_CALL IntpGetAttrValue(uint32_t* handle, uint16_t* row, uint16_t* col,
                                                char* value, uint16_t* length);

/* Sets cell (*row, *col). A *row equal to the row count first appends one row of
 * empty cells (even when *col is then refused). "..." empties the cell. */
TOLVIK_API int32_t TOLVIK_CALL IntpSetAttrValue(uint32_t* handle, uint16_t* row, uint16_t* col,
                                                char* value);

/* Discards a table; *handle becomes 0. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseRead(uint32_t* handle);

/* Profile files of "[Section]" headers and "Name = value" parameters. On entry
 * `err` holds the flags word as decimal text: 1024 asks for the listing (one
 * four-column row per section, "S", name, "...", comment, and per parameter,
 * "P", name, value, comment); without it the selection is read: *handle must
 * hold a request table whose row 0 names the wanted parameters (columns 1 on)
 * and whose column 0 holds section patterns (rows 1 on; "*", "+", "?" are
 * wildcards, case ignored); the result has a header row and one row per
 * matching section. 256 makes a section that matches no pattern an error, 512
 * a parameter that matches no wanted name. A listing without a handle reads
 * every section. On success *handle holds the result table (the request table
 * is consumed) and the result is the longest cell's length + 1; otherwise 0,
 * *handle 0 and the record "2"/"3"/"4", or "101" when a selection gets no
 * handle. */
TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadProfileFile(const char* file, uint32_t* handle,
                                                       uint16_t* rows, uint16_t* cols, char* err);

/* Writes a profile table back into `file`, which must exist. `err` holds the
 * same flags word as the read that made the table (only 1024 counts). Sections
 * and parameters the table names are written from it, in the layout
 * `Name = "value" ; comment` ("Name = [" ... "]" for values of several lines);
 * every line it does not name stays exactly as it is, and what the file lacks
 * is added to its section or as a new section. A value cell of 0x08 removes
 * the parameter (in a listing, 0x08 in a section row's third cell removes the
 * section); an empty value cell keeps the file's value. The handle is
 * consumed; -1 on success, else 0 and the record. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteProfileFile(const char* file, uint32_t* handle, char* err);

/* Extension: every message box the library would show goes to `hook` instead.
 * A null hook restores the default (a message box on Windows, one line on stderr
 * elsewhere). */
typedef void (*TolvikMessageHook)(const char* text, const char* caption, uint32_t style);
TOLVIK_API void TOLVIK_CALL TolvikSetMessageHook(TolvikMessageHook hook);

/* Extension: selects the OEM/ANSI code-page pair used to convert file text.
 * (0, 0) turns conversion off (the default off Windows); (437, 1252) and
 * (850, 1252) are supported. Returns -1 when the pair is accepted, else 0 and
 * the previous pair stays. */
TOLVIK_API int32_t TOLVIK_CALL TolvikSetCodePages(uint32_t oem, uint32_t ansi);

#ifdef __cplusplus
}
#endif

#endif /* TOLVIK32_H */
