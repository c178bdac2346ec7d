// Control of the fake persistence library: what the code under test asked of the store, and what
// the store answers.
//
// What holds: the store is memory, so a read gives back what was saved. A call that is told to fail
// stores nothing and hands nothing out. Every function may be called from any thread.
#ifndef MOXFAKE_PERSIST_H
#define MOXFAKE_PERSIST_H

#include <moxplat/persist.h>

#include <string>
#include <vector>

namespace mox::fake {

// Forgets items, state words, answers and records. Reads that were not freed stay counted.
void persist_reset();

enum class PersistAction { save, read, ask, save_status, remove_status };

// Calls of this kind give this code from now on: one below 0 fails the call, another is what the
// done call returns. PER_OK ends both.
void persist_answer(PersistAction action, gint32 code);

// The n-th call of any kind from now fails with this code; with `from_then_on` all later ones do,
// too. n = 0 ends it.
void persist_fail_call(guint n, gint32 code, bool from_then_on = false);

// A call as it came, failing ones included, its arguments copied.
struct PersistCall {
    PersistAction action = PersistAction::save;
    std::string object;
    std::string name;
    std::string type;             // of a save
    std::vector<guint8> bytes;    // of a save
    gboolean has_prefix = FALSE;  // of a save, a read or a question
    gint32 mode = 0;              // of these three, too
    gint32 code = PER_OK;         // what it returned
    guint32 state = 0;            // of a state word's saving
    gsize semaphores_held = 0;    // of the fake's, by the calling thread
    gsize sends_before = 0;       // calls that had sent to a queue by then
};
std::vector<PersistCall> persist_calls();

// The same in short: "save Fan1.Speed u:b0040000 mode 2", with " prefix" behind a name that had
// one; "read Fan1.Speed mode 2"; "ask Fan1.Speed mode 2"; "status Fan1.Speed = 10"; "unstatus
// Fan1.Speed".
std::vector<std::string> persist_texts();

// Has the store hold this item, whatever its type and bytes.
void persist_put(const std::string& object, const std::string& name, gboolean has_prefix,
                 PER_MODE_E mode, const std::string& type, const std::vector<guint8>& bytes);

// Fills a record as a read does, for a test's own read hook; it counts as handed out.
void persist_fill(CFG_READ_S* read, const std::string& type, const std::vector<guint8>& bytes);

// Reads handed out and not yet freed, since the process began; below 0 when more were freed.
gint64 persist_live_reads();

}  // namespace mox::fake

#endif
