// Walkers, escaping and dumps on texts of a thousand and of a million hits. The time of one hit must not grow
// with the text: each case reports the items (hits, or bytes dumped) of a second.

#include <benchmark/benchmark.h>

#include "orlo/strings/dump.h"
#include "orlo/strings/environment.h"
#include "orlo/strings/match_cmd.h"

using namespace Orlo;

namespace {

stringEx repeated(std::string_view piece, std::int64_t count) {
    stringEx made;
    made.reserve_for_write(piece.size() * static_cast<std::size_t>(count) + 1);
    for (std::int64_t i = 0; i < count; ++i)
        made.append(piece);
    return made;
}

struct digit_cmd final : IStrMatchCmd<stringEx> {
    std::int32_t Match(const stringEx& key, stringEx& out) override {
        if (key[0] == 'n') return MATCH_NONE;
        out.append("2024");
        return MATCH_REPLACE;
    }
    std::uint64_t GetMatchedLen() const override { return 1; }
};

/// Runs `work` on a fresh share of a text with `state.range(0)` pieces.
template <class Work>
void run(benchmark::State& state, std::string_view piece, std::string_view tail, Work work) {
    stringEx text = repeated(piece, state.range(0));
    text.append(tail);
    for (auto _ : state) {
        stringEx walked(text);
        work(walked);
        benchmark::DoNotOptimize(walked.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void replace_by_cmd(benchmark::State& state) {
    digit_cmd cmd;
    run(state, "text %Y", "", [&](stringEx& text) { text.replace_by_cmd('%', cmd, true, false); });
}

void replace_by_cmd_no_match(benchmark::State& state) {
    digit_cmd cmd;
    run(state, "text %n", "", [&](stringEx& text) { text.replace_by_cmd('%', cmd, true, false); });
}

void replace_by_table(benchmark::State& state) {
    const str_replacement<stringEx> table[] = {{"\r"_lit, "r"_lit}, {"\n"_lit, "n"_lit}, {}};
    run(state, "text ~n", "", [&](stringEx& text) { text.replace_by_table('~', table); });
}

void expand_env(benchmark::State& state) {
    SetEnv("ORLO_BENCH", "/home");
    run(state, "$ORLO_BENCH/x ", "", [](stringEx& text) { ExpandEnvRefs(text); });
}

void expand_env_openings(benchmark::State& state) {
    run(state, "${", "x}", [](stringEx& text) { ExpandEnvRefs(text); });
}

void append_to(benchmark::State& state, void (stringEx::*method)(stringEx&) const, std::string_view piece) {
    run(state, piece, ";", [method](stringEx& text) {
        stringEx made;
        (text.*method)(made);
        text = std::move(made);
    });
}

void dump_hex(benchmark::State& state) {
    run(state, "x", "", [](stringEx& text) {
        stringEx made;
        hex_dump(made, text);
        byteEx read;
        if (!hex_read(read, made)) std::abort();
    });
}

#define ORLO_SIZES ->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond)
BENCHMARK(replace_by_cmd) ORLO_SIZES;
BENCHMARK(replace_by_cmd_no_match) ORLO_SIZES;
BENCHMARK(replace_by_table) ORLO_SIZES;
BENCHMARK(expand_env) ORLO_SIZES;
BENCHMARK(expand_env_openings) ORLO_SIZES;
BENCHMARK_CAPTURE(append_to, xml_escape, &stringEx::xml_escape_append_to, "text <") ORLO_SIZES;
BENCHMARK_CAPTURE(append_to, xml_restore, &stringEx::xml_restore_append_to, "text &lt;") ORLO_SIZES;
BENCHMARK_CAPTURE(append_to, xml_restore_openings, &stringEx::xml_restore_append_to, "&x") ORLO_SIZES;
BENCHMARK_CAPTURE(append_to, json_escape, &stringEx::json_escape_append_to, "text \n") ORLO_SIZES;
BENCHMARK_CAPTURE(append_to, json_restore, &stringEx::json_restore_append_to, "text \\n") ORLO_SIZES;
BENCHMARK(dump_hex) ORLO_SIZES;

}  // namespace
