// Searching by regular expressions, against the engines people would pick instead.
//
// Each search counts all matches, without groups, in 4 MB of text that is made of words, numbers, dates and
// addresses; "names" asks for each of 100,000 names whether it matches, and "compile" reads the expression.
// Peers: std::regex, the C library, RE2 (longest match), PCRE2 without and with its compiler. std::regex and
// the C library get a sixteenth of the text, and the time is told per byte.
//
// --worst runs the hard cases instead, each once, and tells the time.

#include <benchmark/benchmark.h>
#include <re2/re2.h>
#include <regex.h>
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <regex>
#include <string>

#include "orlo/regex/regex.h"

namespace {

constexpr std::size_t TEXT_SIZE = 4u << 20;

/// An expression in the form of all peers.
struct question {
    const char* name;
    const char* expression;
};
constexpr question QUESTIONS[] = {
    {"literal", "Sherlock"},
    {"word_number", "[a-z]+[0-9]+"},
    {"date", "[0-9]{4}-[0-9]{2}-[0-9]{2}"},
    {"mail", "[A-Za-z0-9._]+@[A-Za-z0-9]+\\.[a-z]+"},
    {"four_words", "holmes|watson|moriarty|adler"},
    {"absent", "Baskerville"},
};
constexpr question NAMES{"names", "^[A-Z][a-z]+_[0-9]+\\.(csv|txt)$"};

const std::string& text() {
    static const std::string made = [] {
        std::mt19937 random(1);
        std::string all;
        const auto below = [&](unsigned n) { return static_cast<unsigned>(random() % n); };
        const auto word = [&](unsigned least, unsigned most) {
            for (unsigned i = least + below(most - least + 1); i > 0; --i)
                all += "etaoinshrdlucmfwypvbgkqjxz"[std::min(below(26), below(26))];
        };
        while (all.size() < TEXT_SIZE) {
            const unsigned kind = below(400);
            if (kind == 0) {
                all += "Sherlock";
            } else if (kind < 3) {
                all += std::to_string(1800 + below(200)) + "-0" + std::to_string(1 + below(9)) + "-" +
                       std::to_string(10 + below(18));
            } else if (kind < 5) {
                word(3, 8);
                all += "@";
                word(3, 8);
                all += ".com";
            } else if (kind < 8) {
                all += std::array{"holmes", "watson", "moriarty", "adler"}[below(4)];
            } else if (kind < 20) {
                word(2, 5);
                all += std::to_string(below(10000));
            } else {
                word(1, 11);
            }
            all += below(12) == 0 ? ".\n" : " ";
        }
        all.resize(TEXT_SIZE);
        return all;
    }();
    return made;
}

const std::vector<std::string>& names() {
    static const std::vector<std::string> made = [] {
        std::mt19937 random(2);
        std::vector<std::string> all(100'000);
        for (std::string& name : all) {
            const std::size_t size = 8 + random() % 24;
            name = static_cast<char>('A' + random() % 26);
            const std::size_t letters = 2 + random() % (size - 6);
            while (name.size() < letters)
                name += static_cast<char>('a' + random() % 26);
            name += random() % 4 == 0 ? '-' : '_';
            while (name.size() < size - 4)
                name += static_cast<char>('0' + random() % 10);
            name += std::array{".csv", ".txt", ".jpg"}[random() % 3];
        }
        return all;
    }();
    return made;
}

// --- one struct a peer: count all matches, and whether there is one

struct orlo {
    static constexpr std::size_t part = 1;
    explicit orlo(const char* expression) : regex(expression) {}
    std::size_t count(std::string_view all) { return regex.Count(all); }
    bool matches(const std::string& name) { return regex.IsMatch(name); }
    Orlo::CRegEx regex;
};

struct re2_longest {
    static constexpr std::size_t part = 1;
    explicit re2_longest(const char* expression) : regex(expression, options()) {}
    static RE2::Options options() {
        RE2::Options chosen(RE2::Latin1);
        chosen.set_longest_match(true);
        return chosen;
    }
    std::size_t count(std::string_view all) {
        std::size_t found = 0;
        const re2::StringPiece piece(all.data(), all.size());
        re2::StringPiece match;
        for (std::size_t from = 0; regex.Match(piece, from, all.size(), RE2::UNANCHORED, &match, 1); ++found)
            from = static_cast<std::size_t>(match.data() - all.data()) + match.size();
        return found;
    }
    bool matches(const std::string& name) { return RE2::PartialMatch(name, regex); }
    RE2 regex;
};

template <bool Jit>
struct pcre2 {
    static constexpr std::size_t part = 1;
    explicit pcre2(const char* expression) {
        int error = 0;
        PCRE2_SIZE at = 0;
        regex = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(expression), PCRE2_ZERO_TERMINATED, 0, &error, &at,
                              nullptr);
        if (Jit) pcre2_jit_compile(regex, PCRE2_JIT_COMPLETE);
        data = pcre2_match_data_create_from_pattern(regex, nullptr);
    }
    pcre2(const pcre2&) = delete;
    pcre2& operator=(const pcre2&) = delete;
    ~pcre2() {
        pcre2_match_data_free(data);
        pcre2_code_free(regex);
    }
    bool find(std::string_view all, std::size_t from) {
        return pcre2_match(regex, reinterpret_cast<PCRE2_SPTR>(all.data()), all.size(), from, 0, data,
                           nullptr) > 0;
    }
    std::size_t count(std::string_view all) {
        std::size_t found = 0;
        for (std::size_t from = 0; find(all, from); ++found)
            from = pcre2_get_ovector_pointer(data)[1];
        return found;
    }
    bool matches(const std::string& name) { return find(name, 0); }
    pcre2_code* regex;
    pcre2_match_data* data;
};

struct c_library {
    static constexpr std::size_t part = 16;
    explicit c_library(const char* expression) { regcomp(&regex, expression, REG_EXTENDED); }
    c_library(const c_library&) = delete;
    c_library& operator=(const c_library&) = delete;
    ~c_library() { regfree(&regex); }
    std::size_t count(std::string_view all) {
        std::size_t found = 0;
        regmatch_t match{0, static_cast<regoff_t>(all.size())};
        while (regexec(&regex, all.data(), 1, &match, REG_STARTEND) == 0) {
            ++found;
            match = {match.rm_eo, static_cast<regoff_t>(all.size())};
        }
        return found;
    }
    bool matches(const std::string& name) { return regexec(&regex, name.c_str(), 0, nullptr, 0) == 0; }
    regex_t regex;
};

struct standard {
    static constexpr std::size_t part = 16;
    explicit standard(const char* expression)
        : regex(expression, std::regex::extended | std::regex::optimize) {}
    std::size_t count(std::string_view all) {
        return static_cast<std::size_t>(std::distance(
            std::cregex_iterator(all.data(), all.data() + all.size(), regex), std::cregex_iterator()));
    }
    bool matches(const std::string& name) { return std::regex_search(name, regex); }
    std::regex regex;
};

// --- the benches

template <class Peer>
void search(benchmark::State& state, const char* expression) {
    Peer peer(expression);
    const std::string_view all = std::string_view(text()).substr(0, TEXT_SIZE / Peer::part);
    std::size_t found = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(found = peer.count(all));
    state.SetBytesProcessed(static_cast<std::int64_t>(all.size()) *
                            static_cast<std::int64_t>(state.iterations()));
    state.counters["found"] = static_cast<double>(found);
}

template <class Peer>
void all_names(benchmark::State& state) {
    Peer peer(NAMES.expression);
    std::size_t found = 0;
    for (auto _ : state) {
        found = 0;
        for (const std::string& name : names())
            found += peer.matches(name) ? 1 : 0;
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(names().size()) *
                            static_cast<std::int64_t>(state.iterations()));
    state.counters["found"] = static_cast<double>(found);
}

template <class Peer>
void compile(benchmark::State& state, const char* expression) {
    for (auto _ : state) {
        Peer peer(expression);
        benchmark::DoNotOptimize(&peer);
    }
}

template <class Peer>
void add_peer(const std::string& name) {
    for (const question& q : QUESTIONS)
        benchmark::RegisterBenchmark((std::string(q.name) + "/" + name).c_str(), search<Peer>, q.expression);
    benchmark::RegisterBenchmark(("names/" + name).c_str(), all_names<Peer>);
    for (const question& q : QUESTIONS)
        benchmark::RegisterBenchmark(("compile/" + std::string(q.name) + "/" + name).c_str(), compile<Peer>,
                                     q.expression);
    benchmark::RegisterBenchmark(("compile/names/" + name).c_str(), compile<Peer>, NAMES.expression);
}

std::string repeated(const std::string& what, std::size_t count) {
    std::string made;
    for (std::size_t i = 0; i < count; ++i)
        made += what;
    return made;
}

void worst_cases() {
    std::string alternatives = "w0";
    for (int i = 1; i < 5000; ++i)
        alternatives += "|w" + std::to_string(i * 7);
    const std::string large = repeated("abcdefg\n", TEXT_SIZE / 8);
    const struct {
        const char* name;
        std::string expression, text;
    } cases[] = {
        {"(a+)+$ on 100,000 a and a b", "(a+)+$", std::string(100'000, 'a') + "b"},
        {"a?^28 a^28", repeated("a?", 28) + repeated("a", 28), std::string(28, 'a')},
        {"a.*z$ on 4 MB", "a.*z$", large},
        {"(.|\\n)*x on 4 MB", "(.|\n)*x", large},
        {"(.|\\n)*x on 4 MB and an x", "(.|\n)*x", large + "x"},
        {"20,000 parentheses", repeated("(", 20'000) + "a" + repeated(")", 20'000), "a"},
        {"5,000 alternatives on 4 MB", alternatives, large + "w34993"},
        {"((a{1,100}){1,100}){1,100}", "((a{1,100}){1,100}){1,100}", "aaa"},
        {"(a*)\\1b on 3,000 a", "(a*)\\1b", std::string(3000, 'a')},
        {"(a*)\\1b on 3,000 a and a b", "(a*)\\1b", std::string(3000, 'a') + "b"},
        {"[ab][^x]{40}[cd] on 4 MB", "[ab][^x]{40}[cd]", large},
    };
    for (const auto& c : cases) {
        const auto begin = std::chrono::steady_clock::now();
        std::string came;
        try {
            std::vector<Orlo::regex_span> groups;
            came = Orlo::CRegEx(c.expression.c_str()).Search(c.text, 0, groups) ? "found" : "not found";
        } catch (const Orlo::regexExp& failure) {
            came = "refused, code " + std::to_string(failure.code());
        }
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
        std::printf("%-32s %9.2f ms  %s\n", c.name, took.count(), came.c_str());
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "--worst") == 0) {
        worst_cases();
        return 0;
    }
    add_peer<orlo>("orlo");
    add_peer<re2_longest>("re2");
    add_peer<pcre2<false>>("pcre2");
    add_peer<pcre2<true>>("pcre2_jit");
    add_peer<c_library>("c_library");
    add_peer<standard>("std_regex");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
