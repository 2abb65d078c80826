/* SPDX-License-Identifier: BSD-3-Clause */

/*
 * Tracewell in C: recordings of simulations are made, read, drawn and followed.
 *
 * Names. A variable has a name in scopes; its full name joins them by dots, "top.dut.count[7:0]".
 * Times are whole numbers of the recording's timescale, 0 or more. A bit is 0, 1, z or x: in two
 * words `a` and `b` it is a + 2 b, so 0 is a=0 b=0, 1 is a=1 b=0, z is a=0 b=1, x is a=1 b=1. Bit 0
 * of a value is bit 0 of its first word.
 *
 * Errors. A function that can fail answers a tracewell_status, or NULL in place of an object;
 * tracewell_error() then tells why in one line of UTF-8, with U+FFFD for what in names and paths is
 * none or would not be one line. Nothing is thrown, and nothing ends the process.
 * NULL objects, numbers of variables and signals that there are not, and values of another kind
 * than the variable's are told as TRACEWELL_USAGE and change nothing.
 *
 * Paths. A path is a file's: "-" is a file of that name, and no standard stream. What is no regular
 * file (a pipe, a device) is neither recorded into nor read.
 *
 * Threads. Objects are independent of each other. A recording belongs to one thread at a time. A
 * run may be asked by several; it answers one at a time. A history may be read by several. What is
 * closed or freed is in nobody's hands any more. tracewell_error() is each thread's own. The
 * library has threads of its own, which take no signals: handlers of the caller run on the
 * caller's threads. Functions of the caller are called on the caller's thread alone,
 * inside of the call that they were given to. They may ask the run in turn; they must not close it,
 * nor throw, nor leave by longjmp.
 *
 * Texts are UTF-8, end in 0, and belong to the library unless something else is said: those of a
 * run stay until it is closed, those given to a function of the caller until it returns,
 * tracewell_error() until the thread's next call that fails. Texts that the caller gives are read
 * during the call alone.
 *
 * The process. Nothing is printed and no handler of a signal is set, but SIGXFSZ, where nobody has
 * said anything of it, is ignored from the first recording or run on: a file at its limit fails
 * like one on a full disk. After a storage has failed, which can be that of a temporary file, the
 * runs that were open say so, and must be opened again.
 */

#ifndef TRACEWELL_H
#define TRACEWELL_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(TRACEWELL_BUILDING)
#define TRACEWELL_C_API __attribute__((visibility("default")))
#else
#define TRACEWELL_C_API
#endif

/* The version of this header; tracewell_version_number() is that of the library. The first number
 * goes up when a program must be changed or compiled anew, the second when something is added. */
#define TRACEWELL_VERSION_MAJOR 0
#define TRACEWELL_VERSION_MINOR 1
#define TRACEWELL_VERSION_PATCH 0
#define TRACEWELL_VERSION_NUMBER                                                                   \
    (TRACEWELL_VERSION_MAJOR * 1000000 + TRACEWELL_VERSION_MINOR * 1000 + TRACEWELL_VERSION_PATCH)

typedef enum tracewell_status {
    TRACEWELL_OK = 0,
    TRACEWELL_NONE = 1,  /* there is no such value, change or simulation; no error */
    TRACEWELL_USAGE = 2, /* the call makes no sense */
    TRACEWELL_NAME = 3,  /* no signal goes by that name, or more than one */
    TRACEWELL_FILE = 4,  /* a file cannot be read or written, or not in full */
    TRACEWELL_MEMORY = 5
} tracewell_status;

/* "0.1.0", and 1000 for it. */
TRACEWELL_C_API const char* tracewell_version(void);
TRACEWELL_C_API int tracewell_version_number(void);
/* Why the call of this thread that failed last did; "" when none has. */
TRACEWELL_C_API const char* tracewell_error(void);

/* ---- Recording ---------------------------------------------------------------------------------
 *
 * First scopes and variables, then times and values, then close. One at a time in a process.
 *
 * A recording in columns or events is at `path` from its begin on, so that what a killed process
 * leaves there opens. A file that was there is `path.before` meanwhile, in place of one of that
 * name; it goes when the recording is closed, has its own name again when the recording fails, and
 * stays `path.before` when the process is killed. A recording of transitions comes to `path` when
 * it is closed, and takes the place of what was there till then.
 *
 * Limits, told as TRACEWELL_USAGE: 2^24 bits in a variable, numbers of bits from -2^40 to 2^40, 512
 * scopes in each other, 10^12 units in a timescale, channels from 0 to 1000000.
 *
 * Names of scopes and variables come back as they were given but for this: control characters are
 * "_", blanks at both ends are left out, and a word $end, $var, $scope, $upscope or $enddefinitions
 * has a backslash in front. A name of nothing but blanks is refused. Bytes that are no UTF-8 stay,
 * and the second of a name in a scope is read as "name#2".
 */

typedef struct tracewell_recording tracewell_recording;
/* From 0 on, in the order in which they were added. */
typedef uint32_t tracewell_variable;

/* `timescale` as "1ns", "10 ps": a whole number and one of s, ms, us, ns, ps, fs, as, zs. Nothing
 * is written before begin, or the first time or value. */
TRACEWELL_C_API tracewell_recording* tracewell_recording_create(const char* path,
                                                                const char* timescale);
/* A live channel in place of a file: whoever follows channel `number` of `snapshot` sees the
 * values. `snapshot` is the name of a directory, which begin makes; a store and syncs have no
 * meaning. */
TRACEWELL_C_API tracewell_recording*
tracewell_recording_create_live(int number, const char* snapshot, const char* timescale);
/* "columns" (the default), "events" or "transitions", which keep no texts, and whose file is there
 * only once it is closed: nobody reads it before, and nothing of it survives the death of the
 * process. Before anything is added. */
TRACEWELL_C_API tracewell_status tracewell_recording_set_store(tracewell_recording*,
                                                               const char* store);
/* After so many seconds of the clock a time syncs, as tracewell_recording_sync() does: 1 unless
 * set; 0 for never. Transitions are not synced. Before anything is added. */
TRACEWELL_C_API tracewell_status tracewell_recording_set_sync(tracewell_recording*, double seconds);

/* `kind` is the keyword: module, task, function, begin, fork, ...; NULL for a module. A scope
 * without variables is not recorded. */
TRACEWELL_C_API tracewell_status tracewell_recording_open_scope(tracewell_recording*,
                                                                const char* kind, const char* name);
TRACEWELL_C_API tracewell_status tracewell_recording_close_scope(tracewell_recording*);

typedef enum tracewell_direction {
    TRACEWELL_NO_DIRECTION = 0,
    TRACEWELL_IN = 1,
    TRACEWELL_OUT = 2,
    TRACEWELL_INOUT = 3,
    TRACEWELL_BUFFER = 4,
    TRACEWELL_LINKAGE = 5
} tracewell_direction;

/* How a variable is declared. Begin with tracewell_declaration_default(). */
typedef struct tracewell_declaration
{
    size_t size;      /* of this structure, so that it can grow */
    const char* name; /* without scopes and range */
    const char* kind; /* the keyword: wire, reg, integer, real, string, event, ... */
    uint32_t width;   /* bits, at most 2^24; 64 for a real */
    int has_range;    /* whether left and right count; a vector without goes from width - 1 to 0 */
    int64_t left;
    int64_t right;
    tracewell_direction direction;
    const char* type; /* what the source calls its type; NULL for nothing */
    int is_signed;
    /* Names of values, as many as letters of values ("01"), which are read as those of
     * tracewell_recording_letters(); NULL and 0 for none. One that makes no sense, a value that has
     * two, and names for what has no bits are TRACEWELL_USAGE. */
    const char* const* value_letters;
    const char* const* value_names;
    size_t value_count;
} tracewell_declaration;

/* A wire of one bit called `name`. */
TRACEWELL_C_API tracewell_declaration tracewell_declaration_default(const char* name);

/* In the scope at hand. `variable` may not be NULL. */
TRACEWELL_C_API tracewell_status tracewell_recording_add(tracewell_recording*,
                                                         const tracewell_declaration*,
                                                         tracewell_variable* variable);
/* Another name for a variable, in the scope at hand; of its width, and of its kind of values. */
TRACEWELL_C_API tracewell_status tracewell_recording_add_alias(tracewell_recording*,
                                                               const tracewell_declaration*,
                                                               tracewell_variable variable);
/* Makes the file, so that errors come here; the first time or value does it otherwise. After one
 * each further call and close answer the same. */
TRACEWELL_C_API tracewell_status tracewell_recording_begin(tracewell_recording*);

/* What comes from now on is at this time; it does not go back. */
TRACEWELL_C_API tracewell_status tracewell_recording_time(tracewell_recording*, int64_t time);

/* Values, at the time at hand. What a variable is already may be said again, and costs little. A
 * file that cannot be written is told by the sync or close that met it or a time soon after it, and
 * by each of these from there on; what is recorded behind that is lost. */

/* Bits of 0 and 1, at most 64; those above the width do not count. */
TRACEWELL_C_API tracewell_status tracewell_recording_number(tracewell_recording*,
                                                            tracewell_variable, uint64_t number);
/* Bits of 0, 1, z and x, at most 64. */
TRACEWELL_C_API tracewell_status tracewell_recording_bits(tracewell_recording*, tracewell_variable,
                                                          uint64_t a, uint64_t b);
/* The same of any width: (width + 63) / 64 words of each; b may be NULL for none. */
TRACEWELL_C_API tracewell_status tracewell_recording_words(tracewell_recording*, tracewell_variable,
                                                           const uint64_t* a, const uint64_t* b);
/* Letters of 0 1 x z u w l h -, or capitals, which are the same; the leftmost first. Missing ones
 * in front of it repeat an x, z, u, w or -, and are 0 in front of 0, 1, l and h. */
TRACEWELL_C_API tracewell_status tracewell_recording_letters(tracewell_recording*,
                                                             tracewell_variable,
                                                             const char* letters);
TRACEWELL_C_API tracewell_status tracewell_recording_real(tracewell_recording*, tracewell_variable,
                                                          double number);
/* The first `length` bytes of a text, none of which is zero; 32 MiB at most. */
TRACEWELL_C_API tracewell_status tracewell_recording_text(tracewell_recording*, tracewell_variable,
                                                          const char* text, size_t length);
/* An event fires. */
TRACEWELL_C_API tracewell_status tracewell_recording_fire(tracewell_recording*, tracewell_variable);

/* From the time at hand on nothing is known of any variable, until the recording goes on: with the
 * values that were set last, those that were set meanwhile too. Firings meanwhile are lost. */
TRACEWELL_C_API tracewell_status tracewell_recording_pause(tracewell_recording*);
TRACEWELL_C_API tracewell_status tracewell_recording_resume(tracewell_recording*);
/* What lies before the time at hand is in the file, readers see it, and it survives the death of
 * the process. The time at hand is not among it: more may come at it. TRACEWELL_USAGE for
 * transitions, which are in the file once it is closed. */
TRACEWELL_C_API tracewell_status tracewell_recording_sync(tracewell_recording*);
/* Ends the recording at the time at hand, and frees it, whatever the answer: TRACEWELL_OK when the
 * file is whole, otherwise what went wrong first, as that it could not be made. NULL is no error.
 */
TRACEWELL_C_API tracewell_status tracewell_recording_close(tracewell_recording*);

/* ---- Reading -----------------------------------------------------------------------------------
 */

typedef struct tracewell_run tracewell_run;
/* From 0 on, in the order of declaration. */
typedef uint32_t tracewell_signal;

/* What lies behind the end up to which a recording that was never closed is whole. */
#define TRACEWELL_BEYOND 1u

/* A recording, or a VCD, an FST or a GHW file, packed or not; the first bytes say what it is. What
 * is no regular file is TRACEWELL_FILE. `flags` is 0 or TRACEWELL_BEYOND. */
TRACEWELL_C_API tracewell_run* tracewell_run_open(const char* path, unsigned flags);
/* Its signals' texts go with it; histories stay. NULL is no error. */
TRACEWELL_C_API tracewell_status tracewell_run_close(tracewell_run*);

/* The last time; below 0 for an error. */
TRACEWELL_C_API int64_t tracewell_run_end(tracewell_run*);
/* The unit of times: `factor` times ten to the power of `exponent` seconds. */
TRACEWELL_C_API tracewell_status tracewell_run_timescale(tracewell_run*, uint64_t* factor,
                                                         int* exponent);
/* What the answers so far lack, and that the recording was never closed, each once: 0 for nothing
   more. The text stays until the next call. */
TRACEWELL_C_API const char* tracewell_run_lacking(tracewell_run*);

TRACEWELL_C_API uint32_t tracewell_run_signals(tracewell_run*);

typedef enum tracewell_values {
    TRACEWELL_BITS = 0,
    TRACEWELL_REAL = 1,
    TRACEWELL_TEXT = 2,
    TRACEWELL_EVENT = 3,
    TRACEWELL_BYTES = 4
} tracewell_values;

/* In place of a scope: there is none. */
#define TRACEWELL_NO_SCOPE 0xffffffffu

typedef struct tracewell_signal_info
{
    size_t size;       /* of this structure; to be set by the caller */
    const char* name;  /* in full */
    const char* local; /* the end of it, behind the scopes */
    const char* kind;  /* wire, reg, ... */
    const char* type;  /* "" where it is not known */
    uint32_t scope;    /* its number, or TRACEWELL_NO_SCOPE */
    uint32_t width;
    tracewell_values values;
    tracewell_direction direction;
    int is_signed;
    int has_range; /* whether left and right count */
    int64_t left;
    int64_t right;
    size_t value_names; /* how many values have names */
    /* Signals with the same number are names for one thing, and have one history. */
    uint32_t identity;
} tracewell_signal_info;

TRACEWELL_C_API tracewell_status tracewell_run_signal(tracewell_run*, tracewell_signal,
                                                      tracewell_signal_info* info);
/* The letters of a value and its name, by number, in the order of the letters. */
TRACEWELL_C_API tracewell_status tracewell_run_value_name(tracewell_run*, tracewell_signal,
                                                          size_t number, const char** letters,
                                                          const char** name);
/* By its full name, with the range or without; "top.bus[7:4]" or "top.bus[3]" for some bits of a
 * vector, which become a signal of their own, behind those that were declared. */
TRACEWELL_C_API tracewell_status tracewell_run_find(tracewell_run*, const char* name,
                                                    tracewell_signal* signal);

/* Scopes, from 0 on, each behind the one that it is in. */
TRACEWELL_C_API uint32_t tracewell_run_scopes(tracewell_run*);

typedef struct tracewell_scope_info
{
    size_t size;      /* of this structure; to be set by the caller */
    const char* name; /* its own */
    const char* kind; /* module, ... */
    uint32_t parent;  /* the scope that it is in, or TRACEWELL_NO_SCOPE */
} tracewell_scope_info;

TRACEWELL_C_API tracewell_status tracewell_run_scope(tracewell_run*, uint32_t scope,
                                                     tracewell_scope_info* info);

/* A history as arrays: an entry for each change from `from` to `to`, in front of them what holds at
 * `from`, with that time, if anything does. There are no
 * entries where `from` is behind the run's end or behind `to`. To be freed; it outlives its run. */
typedef struct tracewell_history tracewell_history;

TRACEWELL_C_API tracewell_history* tracewell_history_read(tracewell_run*, tracewell_signal,
                                                          int64_t from, int64_t to);
TRACEWELL_C_API void tracewell_history_free(tracewell_history*);
/* How many entries. The arrays have so many, in `words_each` words those of bits, events and bytes;
 * 0 for reals and texts. NULL for what values of that kind do not have, and where there are no
 * entries. */
TRACEWELL_C_API size_t tracewell_history_size(const tracewell_history*);
TRACEWELL_C_API size_t tracewell_history_words_each(const tracewell_history*);
TRACEWELL_C_API const int64_t* tracewell_history_times(const tracewell_history*);
/* Of bits, the word `a`: 0, 1, 0 for z, 1 for x. Of an event how often it fired at that time. */
TRACEWELL_C_API const uint64_t* tracewell_history_words(const tracewell_history*);
/* Of bits, the word `b`: 1 where one is z or x. Of u, w and - x stands in both, of l and h 0 and 1.
 */
TRACEWELL_C_API const uint64_t* tracewell_history_unknown(const tracewell_history*);
TRACEWELL_C_API const double* tracewell_history_reals(const tracewell_history*);
/* Of a text. Of bits: the letters of all, the leftmost first, where one is u, w, l, h or -, and
 * NULL in all other entries. */
TRACEWELL_C_API const char* tracewell_history_text(const tracewell_history*, size_t entry);

/* The same entry by entry, in bounded memory. Ends early when `visit` answers something else than
 * 0. What the values of the signal do not have is NULL or 0. */
typedef struct tracewell_entry
{
    int64_t time;
    const uint64_t* words;
    const uint64_t* unknown;
    double real;
    const char* text;
    size_t words_each;
    size_t length; /* of the text */
} tracewell_entry;
typedef int (*tracewell_visit)(void* user, const tracewell_entry* entry);
TRACEWELL_C_API tracewell_status tracewell_history_visit(tracewell_run*, tracewell_signal,
                                                         int64_t from, int64_t to,
                                                         tracewell_visit visit, void* user);

/* What a signal is at a time, as a person reads it. Writes at most `room` bytes, 0 at the end
 * included, and into `length`, unless that is NULL, how long the whole is. TRACEWELL_NONE where it
 * is nothing. */
TRACEWELL_C_API tracewell_status tracewell_value_at(tracewell_run*, tracewell_signal, int64_t time,
                                                    char* text, size_t room, size_t* length);
/* The time of the first change behind a time, or of the last one before it. */
TRACEWELL_C_API tracewell_status tracewell_change_behind(tracewell_run*, tracewell_signal,
                                                         int64_t time, int64_t* found);
TRACEWELL_C_API tracewell_status tracewell_change_before(tracewell_run*, tracewell_signal,
                                                         int64_t time, int64_t* found);

/* A signal as `pixels` pixels show it: stretches one behind the other, at most some four a pixel,
 * in a time that does not grow with the changes. Ends early when the function answers something
 * else than 0. */
typedef enum tracewell_look {
    TRACEWELL_LOOK_BLANK = 0, /* nothing was recorded yet */
    TRACEWELL_LOOK_DENSE = 1, /* more changes than can be seen */
    TRACEWELL_LOOK_LOW = 2,
    TRACEWELL_LOOK_HIGH = 3,
    TRACEWELL_LOOK_UNKNOWN = 4,  /* x, u, w or -; a vector with such a bit too */
    TRACEWELL_LOOK_FLOATING = 5, /* z; a vector with such a bit and none unknown */
    TRACEWELL_LOOK_VALUE = 6     /* what its text tells */
} tracewell_look;
typedef struct tracewell_stretch
{
    int64_t start;
    int64_t end;
    tracewell_look look;
    int is_change;    /* it came up at `start` */
    const char* text; /* "" where it has no room */
} tracewell_stretch;
typedef int (*tracewell_draw_stretch)(void* user, const tracewell_stretch* stretch);
TRACEWELL_C_API tracewell_status tracewell_draw(tracewell_run*, tracewell_signal, int64_t from,
                                                int64_t to, uint32_t pixels,
                                                tracewell_draw_stretch visit, void* user);

/* Where a condition in the words of SystemVerilog is true. `on` is an event to look at alone, or
 * NULL. `end` of a match is below 0 where it is true to the end of the run. Ends early when the
 * function answers something else than 0. TRACEWELL_NAME where the condition names no signal, or
 * several. */
typedef int (*tracewell_match)(void* user, int64_t begin, int64_t end);
TRACEWELL_C_API tracewell_status tracewell_search(tracewell_run*, const char* condition,
                                                  const char* on, tracewell_match match,
                                                  void* user);

/* ---- Following ---------------------------------------------------------------------------------
 */

/* A simulation that runs, recorded beside it into `output` (NULL for nothing that stays). Waits at
 * most `seconds` for it: NULL, with tracewell_error(), when none came. One at a time in a process.
 */
TRACEWELL_C_API tracewell_run* tracewell_run_follow(int channel, const char* snapshot,
                                                    const char* directory, const char* output,
                                                    double seconds);
/* To be called some ten times a second. TRACEWELL_OK while it runs, TRACEWELL_NONE once it has gone
 * and all that it sent is there; the run can be asked until it is closed. */
TRACEWELL_C_API tracewell_status tracewell_run_poll(tracewell_run*);

#ifdef __cplusplus
}
#endif

#endif
