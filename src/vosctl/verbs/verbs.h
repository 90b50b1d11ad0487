// What vosctl can do: each of these is defined in the file of its verb.
#pragma once

#include "vosctl/verbs/verb.h"

namespace vosctl {

extern const Verb bundle_verb;
extern const Verb check_verb;
extern const Verb get_verb;
extern const Verb list_verb;
extern const Verb merge_verb;
extern const Verb record_verb;
extern const Verb reload_verb;
extern const Verb report_verb;
extern const Verb seal_verb;
extern const Verb set_verb;
extern const Verb status_verb;
extern const Verb stop_verb;
extern const Verb terminate_verb;
extern const Verb top_verb;

} // namespace vosctl
