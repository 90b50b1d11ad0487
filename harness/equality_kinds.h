// The kinds of questions: each asks until it was enough.
#pragma once

#include "equality_asker.h"

#include <sys/types.h>

constexpr uid_t nobody = 65534;

void ask_while_threads_end(Asker& asker);
void ask_while_executing_again(Asker& asker);
void ask_about_ids_used_again(Asker& asker);
/// Asks as `user` about processes that root has started.
void ask_about_hidden(Asker& asker, uid_t user);
void ask_without_descriptors(Asker& asker);
void ask_about_names(Asker& asker);

/// What the program does when it is started with this argument: it has another
/// thread become this program anew.
constexpr const char* again = "--again";
[[noreturn]] void execute_again();
