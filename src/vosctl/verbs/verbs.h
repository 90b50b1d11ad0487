// What vosctl can do. Each verb prints its result on standard output, says what
// went wrong on standard error, and returns the exit status.
#pragma once

#include "vosctl/verbs/command_line.h"
#include "vosctl/verbs/exit_status.h"

namespace vosctl {

/// seal: reads a secret from standard input and prints its enciphered form.
/// Makes the key file when there is none.
int seal(const CommandLine& line);

/// check [FILE]: what is wrong with a configuration, a line each. exit_failed
/// when something is.
int check(const CommandLine& line);

/// get PATH, list: settings as text. set PATH VALUE: changes one in the file.
int get(const CommandLine& line);
int list(const CommandLine& line);
int set(const CommandLine& line);

/// reload [--force]: the daemon reads its configuration again. stop: it ends, and is
/// started again. terminate: it ends and stays down, with its supervisor.
int reload(const CommandLine& line);
int stop(const CommandLine& line);
int terminate(const CommandLine& line);

/// status [--json]: how the daemon is, as its supervisor sees it. exit_failed
/// when it is not running or not well.
int status(const CommandLine& line);

/// top [--once | -n COUNT]: the node at a glance, each second anew on a
/// terminal; otherwise, or with a count, as blocks of plain lines.
int top(const CommandLine& line);

/// bundle FILE: what a support case needs, in one new file, without secrets.
int bundle(const CommandLine& line);

/// record [--json] [--name NAME]: the status record that an agent publishes in
/// shared memory. exit_failed when there is none to be read, or a stale one.
int record(const CommandLine& line);

/// report [--interval SECONDS]: one report of this machine as it is now, on
/// standard output and nowhere else.
int report(const CommandLine& line);

/// merge TEMPLATE CURRENT OUTPUT: brings a newly installed configuration and the
/// user's together. Says on standard error which of the user's values are left
/// out, as their type does not fit.
int merge(const CommandLine& line);

} // namespace vosctl
