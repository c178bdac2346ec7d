// The verbs that the table holds, each defined by its family's file.
#ifndef MOX_TOOL_VERB_TABLE_HPP
#define MOX_TOOL_VERB_TABLE_HPP

#include "verb.hpp"

namespace mox::tool {

extern const Verb list_verb;
extern const Verb tree_verb;
extern const Verb show_verb;
extern const Verb introspect_verb;
extern const Verb get_verb;
extern const Verb set_verb;
extern const Verb override_verb;
extern const Verb cancel_verb;
extern const Verb watch_verb;
extern const Verb modules_verb;
extern const Verb locks_verb;
extern const Verb mem_verb;
extern const Verb queues_verb;
extern const Verb doctor_verb;
extern const Verb words_verb;

}  // namespace mox::tool

#endif
