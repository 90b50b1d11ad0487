// Asks what the builtin commands answer, between two runs of the program that
// they stand for: "equality KIND QUESTIONS [SEED]", in a pid namespace of its own
// (see equality.py). Prints how many questions were asked, how many of them the
// builtin left to the program, and each answer that neither run gave: the
// program's, when both runs agree, is what is right.
#include "equality_kinds.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <map>
#include <string>

namespace {

const std::map<std::string, std::function<void(Asker&)>> kinds{
    {"threads", ask_while_threads_end},
    {"executions", ask_while_executing_again},
    {"ids", ask_about_ids_used_again},
    {"root", [](Asker& asker) { ask_about_hidden(asker, 0); }},
    {"nobody", [](Asker& asker) { ask_about_hidden(asker, nobody); }},
    {"descriptors", ask_without_descriptors},
    {"names", ask_about_names}};

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::string(argv[1]) == again)
        execute_again();
    const auto kind = argc >= 3 ? kinds.find(argv[1]) : kinds.end();
    if (kind == kinds.end()) {
        std::fputs("usage: equality KIND QUESTIONS [SEED]\n", stderr);
        return 2;
    }
    set_seed(argc > 3 ? static_cast<unsigned>(std::atol(argv[3])) : 1);
    if (::getpid() != 1) {
        std::fputs("equality: ends all processes that it sees, and wants a pid namespace\n",
                   stderr);
        return 2;
    }
    shared();
    try {
        Asker asker(std::atol(argv[2]));
        kind->second(asker);
        return asker.tell();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
