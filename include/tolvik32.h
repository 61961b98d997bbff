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
 *    A record is never longer than 4096 bytes, its terminating NUL included,
 *    whatever the file names passed; a buffer of 4096 bytes always suffices.
 *    Below that bound the record is exactly as described; a record that would
 *    be longer (names of many hundred bytes) has its longest arguments cut,
 *    each keeping its first bytes and its SUB. TolvikGetDiagnostic gives the
 *    parts of the latest record without parsing it.
 *  - No exception and no crash crosses the interface. A failure inside the
 *    library (memory exhausted, a limit of the platform) fails the call with
 *    result 0 and "3" + the file name; the file stays as it was, a handle is
 *    kept or released as on any other failure of that export, and the host
 *    goes on.
 *  - The library's one message box (a table that drops cells because it is
 *    full) is shown at most once per call.
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

/* Model files (sections "{ TASK", "{ DPAC", "{ TEXT"). Reading gives one row per
 * entry with four columns: file name (the section's default extension ".tse",
 * ".dpe" or ".txe" added when it has none), kind code (1 task, 2 data package,
 * 6 text; 7, 8, 9 for ".TSC", ".DPC", ".TXC"; 3 to 5 are data-package kinds a
 * host may set), switches ("/X " each) and comment. */
TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadMDLFile(const char* file, uint32_t* handle,
                                                   uint16_t* rows, uint16_t* cols, char* err);

/* Rewrites the model file from the table and frees the handle. The file keeps
 * its order, comments and layout: each entry takes the first row of its kind and
 * file name (directory and extension ignored, case ignored); a row whose
 * switches cell holds the delete mark removes its entry; an empty cell keeps the
 * file's value; rows that match no entry go before the "}" of their section.
 * A null *handle succeeds and changes nothing. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateMDLFile(const char* file, uint32_t* handle,
                                                      char* err);

/* Writes the model file anew from the table alone ("{ TASK", "{ DPAC", "{ TEXT"
 * in this order) and frees the handle. The file must exist. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteMDLFile(const char* file, uint32_t* handle, char* err);

/* Reads the declaration at the top of a program module's source file into one
 * row of 15 cells: 0 kind code (1 TASK, 3 VPAC, 4 BPAC, 5 QPAC, 6 TEXT), 1 Name,
 * 2 options ("/A/B"), 3 PLA, 4 ELA, 5 LN, 6 Pages, 7 Cycle, 8 PRI, 9 $BUF,
 * 10 BlkSize, 11-14 Def_L, Def_X, Def_I, Def_R. A compiled module (".TSC",
 * ".DPC", ".TXC") gives its header bytes instead, with kind 7 (task) or 8 (data)
 * and the cycle as "500 ms" or "1.5 s". A module of an unknown type gives "5". */
TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadVORLHead(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols, char* err);

/* Rewrites the declaration from the table: a new value replaces the file's, an
 * empty cell keeps it, TOLVIK_DELETE_MARK removes it; every other line of the
 * file is kept as it is. For a compiled module the header bytes are patched;
 * column 0 must name the module's kind, else "5". The handle is consumed. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateVORLHead(const char* file, uint32_t* handle,
                                                       char* err);

/* BPAC values: reads the "{ Values" block of `file` into a table of k + 2
 * columns for k declared columns. Row 0: "No", the type letters, the header
 * comment; row 1: "No", the column names ("E1"... when none is given), the header
 * comment; then one row per value line: its identifier (empty cell without "#"),
 * its values (empty cells for values the line does not reach), its comment.
 * On success -1, a new handle and its counts; otherwise 0, handle and counts 0.
 * Error record: "0"; "4"/"3" + file; "2"/"3" + message. */
TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadBPACValues(const char* file, uint32_t* handle,
                                                      uint16_t* rows, uint16_t* cols, char* err);

/* BPAC values: writes the table as a freshly laid-out values block in place of
 * the file's block; every line before and after the block is kept as it is.
 * The handle is consumed whatever the outcome; a null handle gives -1 and "0"
 * and leaves the file untouched. Error record as for IntpOpenReadBPACValues. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateBPACValues(const char* file, uint32_t* handle,
                                                         char* err);

/* Text strings: the "{Strings" section of a file, one row per string with five
 * cells: name (an array's name followed by "( size )"), index (0 for the first
 * string, an array counting size + 1), the word after ":", the value, the
 * comment. `startName` and `endName` select the region: an empty start name
 * begins after the section's header line, a start name at the "$" line of that
 * string; an empty end name ends at the section's closing "}" line, an end name
 * (a pattern; "*" matches every name) at the last "$" line it matches. `err` is
 * also an input: a decimal number whose bit 0x80 says that `file` is the
 * section's text itself. */
TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadTextStrings(char* file, uint32_t* handle, uint16_t* rows,
                                                       uint16_t* cols, char* startName,
                                                       char* endName, char* err);

/* Replaces the region that `startName` and `endName` select with the table's
 * rows; every line outside it is kept as it stands. When neither name is found
 * the rows are appended to the end of the file's "{Strings" section. Rows that
 * would not read back (a name with blanks, a comment holding a line end) fail
 * the write and leave the file as it was. Consumes the handle. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteTextStrings(char* file, uint32_t* handle,
                                                         char* startName, char* endName, char* err);

/* VPAC variables: the "{ Variables" section, one row per variable with five
 * cells: type letter (R, I, X, L), name (an array's followed by "( size )"),
 * address (R counts 3, I 2, X and L 1, times size + 1 for an array), the values
 * joined by ", ", the comment. Names and `err` as for IntpOpenReadTextStrings,
 * with the type letters in place of "$". */
TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadVpacVariables(char* file, uint32_t* handle,
                                                         uint16_t* rows, uint16_t* cols,
                                                         char* startName, char* endName, char* err);

/* Writes the table back as for IntpCloseWriteTextStrings; the address is not
 * written. Consumes the handle. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteVpacVariables(char* file, uint32_t* handle,
                                                           char* startName, char* endName,
                                                           char* err);

/* Reads the task stub `stub` (the "Code" section kept as an embedded file of
 * `file`) into a table of 4 columns: type letter, name (with "( size )" for an
 * array), values (joined by ", "; empty when none), comment. On failure the
 * record is "2", stub + " in " + file, and the inner message. */
TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadTaskStub(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols,
                                                    const char* stub, char* err);

/* Writes the table back into the task stub `stub` of `file`: matched
 * declarations are rewritten, declarations the table does not hold are kept,
 * a row with an empty value column removes its declaration, new rows follow
 * the section's lines. The stub is replaced where it stands (or inserted after
 * an embedding point without name). The handle is consumed. On failure "2",
 * stub + " in " + file, and the inner message or the inner record. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseUpdateTaskStub(const char* file, uint32_t* handle,
                                                       const char* stub, char* err);

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

/* Inserts one declaration into a block of `file`, or removes it from there.
 * The block is the first line whose first token is "{" and whose second token is
 * `keyword` (case ignored), up to the first following line that starts with
 * "}". `declaration` is one line of text, with an optional "; comment".
 * A declaration's key is its text up to the first "=" (all of it without one),
 * blanks folded and case ignored: "R COUNT = 0" and "r  count=5" share a key.
 *  - Insert: a block line with the same key is replaced (the first one, keeping
 *    its indentation); otherwise the declaration goes in as a new line just
 *    before the "}" line, indented like the block's last declaration (two
 *    blanks in an empty block). A comment is written as " ; comment".
 *  - Remove: every block line with that key is taken out. A key the block does
 *    not hold is a success that leaves the content unchanged.
 * Every other line of the file keeps its bytes; CR LF stays CR LF. The file is
 * replaced in one step, the old one kept as ".BAK".
 * Records: "0"; "4" + file (missing) or "3" + file (not accessible); "2" + the
 * message when the declaration does not parse (empty, holding "{", "}" or a
 * line end; the file is then not opened) or when the file has no such block
 * (message: file SUB "{ keyword" SUB token SUB line SUB). */
TOLVIK_API int32_t TOLVIK_CALL IntpInsertDecl(const char* file, const char* keyword,
                                              const char* declaration, char* err);
TOLVIK_API int32_t TOLVIK_CALL IntpRemoveDecl(const char* file, const char* keyword,
                                              const char* declaration, char* err);

/* Inserts `text` as the embedded file `name` after the line "; EmbeddPoint
 * `point`". On entry `err` holds a decimal number: 2 asks for an existing
 * embedded file of that name to be replaced where it stands; otherwise an
 * existing one is kept and the call succeeds without change. CR characters of
 * `text` are dropped; the file's own line ends are written. */
TOLVIK_API int32_t TOLVIK_CALL IntpInsertEmbeddedFile(const char* file, const char* point,
                                                      const char* name, const char* text,
                                                      char* err);

/* Reads the embedded file `name` of `file`. Success: the text length + 1, a
 * handle whose text IntpGetAttrValue returns whole (CR LF line ends), and `err`
 * is not written. Failure: 0, *handle 0 and an error record. */
TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadEmbeddedFile(const char* file, uint32_t* handle,
                                                        const char* name, char* err);

/* Removes the embedded file `name` of `file`. A file that does not exist
 * answers "0" and -1: there is nothing to remove. */
TOLVIK_API int32_t TOLVIK_CALL IntpRemoveEmbeddedFile(const char* file, const char* name,
                                                      char* err);

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

/* Writes `file`, which must exist, anew from a profile table: nothing of its
 * old text is kept (the old file becomes the ".BAK" backup; the line ends
 * follow its first line). `err` holds the same flags word as the read that
 * made the table (only 1024 counts). A listing writes its rows in order: "S"
 * rows as "[name] ; comment" (an empty line before each but row 0), "P" rows
 * as `name = "value" ; comment` ("name = [" ... "]" for values of several
 * lines; an empty value cell as ""); rows of any other kind are left out, so a
 * row left out or given another kind removes its line. A selection writes
 * "[section]" for rows 1 on and `name = "value"` per value (one line per line
 * of a joined value, a block value as a block), leaving out empty cells and
 * 0x08; no comments. A table whose file would not read back is refused with
 * "2" before the file changes. The handle is consumed; -1 on success, else 0
 * and the record. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteProfileFile(const char* file, uint32_t* handle,
                                                         char* err);

/* VPAC stub: the "Variables" section kept as the embedded file `stub` of
 * `file`, read into the five columns of IntpOpenReadVpacVariables. A stored
 * text that begins with its own "{Variables" line is read as it stands, a bare
 * one is framed as a section. Failures as for IntpOpenReadTaskStub. */
TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadVpacStub(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols,
                                                    const char* stub, char* err);

/* Writes the table as the VPAC stub's new text, "{Variables\n" + rows + "}\n",
 * replacing the stored one where it stands. Consumes the handle. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteVpacStub(const char* file, uint32_t* handle,
                                                      const char* stub, char* err);

/* Text stub: the "Strings" section kept as the embedded file `stub` of `file`,
 * read into the five columns of IntpOpenReadTextStrings; framing as for the
 * VPAC stub. */
TOLVIK_API int32_t TOLVIK_CALL IntpOpenReadTextStub(const char* file, uint32_t* handle,
                                                    uint16_t* rows, uint16_t* cols,
                                                    const char* stub, char* err);

/* Writes the table as the text stub's new text, "{Strings\n" + rows + "}\n".
 * Consumes the handle. */
TOLVIK_API int32_t TOLVIK_CALL IntpCloseWriteTextStub(const char* file, uint32_t* handle,
                                                      const char* stub, char* err);

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

/* Extension: options of the whole process, as bits; 0, the default, is the
 * original behaviour. Returns -1 when every bit is known (the options are then
 * exactly `options`), else 0 and the options stay as they were.
 *
 * TOLVIK_OPTION_DETECT_CONFLICTS: a table read from a file (any IntpOpenRead...
 * export, the stubs, embedded and profile files included; not a text handed
 * over in memory) remembers the file's size, modification time and a hash of
 * its bytes as it was read. A close export that writes such a table back into
 * the same file (the name exactly as passed to the read) first checks that the
 * file is still as it was read: size and time, then the hash. If anybody
 * changed it in between, the close fails with 0 and the record "3" + file,
 * writes nothing, leaves no temporary file, and consumes the handle as any
 * failed close does; the host reads the file again and redoes its change.
 * Without the option, a close simply writes, undoing what others wrote since
 * the read. Tables from IntpOpenWrite and tables written into another file
 * than they were read from are never refused for this. The option counts when
 * the table is read and when it is closed; while it is off nothing is hashed. */
#define TOLVIK_OPTION_DETECT_CONFLICTS 1u
TOLVIK_API int32_t TOLVIK_CALL TolvikSetOptions(uint32_t options);

/* Extension: the parts of the latest error record that an export wrote on the
 * calling thread, so that a host need not take the record apart.
 * `level` 0 is the record itself; level 1 the finding nested in it (a stub's
 * section, or the record of storing a stub), and so on.
 * `field` is one of the TOLVIK_FIELD_ values; `index` counts the expected items
 * (0 for the other fields). The field's text goes into `buffer` (at most
 * `size` - 1 bytes and a NUL; `buffer` may be null to ask for the length).
 * Returns the field's whole length + 1, or 0 when there is no such level,
 * field or item (no line when the record names none; no code for a nested
 * finding that is a message rather than a record). */
#define TOLVIK_FIELD_CODE 0     /* "0", "2", "3", "4", "5", "101" */
#define TOLVIK_FIELD_FILE 1     /* the file; for a stub, stub + " in " + file */
#define TOLVIK_FIELD_EXPECTED 2 /* the index-th item that was expected */
#define TOLVIK_FIELD_TOKEN 3    /* the text found instead ("" at the end of a file) */
#define TOLVIK_FIELD_LINE 4     /* the line, in decimal */
TOLVIK_API int32_t TOLVIK_CALL TolvikGetDiagnostic(uint32_t level, uint32_t field, uint32_t index,
                                                   char* buffer, uint32_t size);

#ifdef __cplusplus
}
#endif

#endif /* TOLVIK32_H */
