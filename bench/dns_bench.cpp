// Reading an answer of a name server, beside c-ares on the same packets, and
// answering from a full cache.
#include "dns/cache.h"
#include "dns/message.h"
#include "net/resolver.h"

#include <ares.h>
#include <benchmark/benchmark.h>

#include <array>
#include <iterator>
#include <string>

namespace {

const std::string host = "reports.zel.example";

/// What a server answers: `aliases` CNAME records, each leading to the next
/// one, and `addresses` A records.
std::string make_answer(const std::string& query, int aliases, int addresses)
{
    std::string answer = query.substr(0, 2) + "\x81\x80";
    answer += std::string("\0\1\0", 3) + static_cast<char>(aliases + addresses) +
              std::string(4, '\0') + query.substr(12);
    std::string owner = "\xc0\x0c";
    for (int i = 0; i < aliases; ++i) {
        const auto target_at = answer.size() + owner.size() + 10;
        answer += owner + std::string("\0\5\0\1\0\0\1\0\0\4", 10) + "\1" +
                  static_cast<char>('a' + i) + "\xc0\x0c";
        owner = {static_cast<char>(0xc0 | target_at >> 8), static_cast<char>(target_at)};
    }
    for (int i = 0; i < addresses; ++i)
        answer += owner + std::string("\0\1\0\1\0\0\1\0\0\4\xc0\0\2", 13) + static_cast<char>(i);
    return answer;
}

void sizes(benchmark::internal::Benchmark* bench)
{
    bench->ArgNames({"aliases", "addresses"})->Args({0, 1})->Args({2, 4})->Args({0, 100});
}

std::string answer_for(const benchmark::State& state, const std::string& query)
{
    return make_answer(query, static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
}

void parse_dns_reply(benchmark::State& state)
{
    const auto query = *nyx::build_dns_query(host);
    const auto answer = answer_for(state, query);
    for (auto _ : state) {
        const auto parsed = nyx::parse_dns_reply(answer, query, host, 0);
        if (std::distance(parsed.response.addresses.begin(), parsed.response.addresses.end()) !=
            state.range(1))
            state.SkipWithError("not all addresses were read");
    }
}
BENCHMARK(parse_dns_reply)->Apply(sizes);

void c_ares_parse_a_reply(benchmark::State& state)
{
    const auto answer = answer_for(state, *nyx::build_dns_query(host));
    std::array<ares_addrttl, 128> found{};
    for (auto _ : state) {
        hostent* entry = nullptr;
        int count = static_cast<int>(found.size());
        ares_parse_a_reply(reinterpret_cast<const unsigned char*>(answer.data()),
                           static_cast<int>(answer.size()), &entry, found.data(), &count);
        if (count != state.range(1))
            state.SkipWithError("not all addresses were read");
        ares_free_hostent(entry);
    }
}
BENCHMARK(c_ares_parse_a_reply)->Apply(sizes);

/// A name of a cache of `entries`, through the resolver: no static table, as
/// reading one costs more than all the rest.
void cache_hit(benchmark::State& state)
{
    constexpr int ttl_sec = 3600;
    auto& cache = nyx::DNSCache::shared();
    const auto name = [](std::int64_t number) { return "host" + std::to_string(number) + ".zel"; };
    for (std::int64_t i = 0; i < state.range(0); ++i)
        cache.save_answer(name(i), ttl_sec, {"192.0.2.1", "192.0.2.2"});
    nyx::Resolver resolver(true, 0, 1000, 0);
    int answered = 0;
    const auto count = [](bool failed, const char*, int, std::list<std::string>&, void* context) {
        *static_cast<int*>(context) += failed ? 0 : 1;
    };
    std::int64_t next = 0;
    for (auto _ : state) {
        next = (next + 7919) % state.range(0); // another one each time
        resolver.getaddrinfo_async(name(next), count, &answered, "");
    }
    if (answered != static_cast<int>(state.iterations()))
        state.SkipWithError("not every name was in the cache");
    cache.clear_cache();
}
BENCHMARK(cache_hit)->ArgName("entries")->Arg(10)->Arg(10000);

} // namespace

BENCHMARK_MAIN();
