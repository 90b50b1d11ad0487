#include "vosctl/verbs/help.h"

#include "vosctl/verbs/verb_table.h"

#include <iomanip>
#include <sstream>

namespace vosctl {

std::string help_text()
{
    std::ostringstream text;
    text << "usage: vosctl [--config FILE] VERB [ARGUMENT...]\n\n"
            "  --config FILE   the node's configuration (default: vos.conf in this folder)\n"
            "  --help          this text\n"
            "  --version       the version\n\nVerbs:\n";
    for (const auto* verb : verb_table())
        text << "  " << std::left << std::setw(14) << verb->name << "  " << verb->summary << '\n';
    text << "\nExit status: 0 done (status: healthy), 1 failed (the daemon is not running or\n"
            "not well; the configuration has faults), 2 wrong usage, 3 no supervisor\n"
            "\nvosctl VERB --help tells more about a verb.\n";
    return text.str();
}

std::string help_text(const Verb& verb)
{
    return "usage: vosctl [--config FILE] " + usage_of(verb) + "\n\n" + verb.help;
}

} // namespace vosctl
