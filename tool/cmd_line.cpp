#include "cmd_line.h"

#include <algorithm>

namespace tallycsv {

bool CCmdLineParser::Load(int argc, char* argv[]) {
    m_records.clear();
    m_switch_count = 0;
    for (int i = 0; i < argc; ++i)
        m_records.push_back({stringEx(argv[i]), {}, {}});
    for (std::size_t i = m_first_arg; i < m_records.size(); ++i)
        _Split(m_records[i]);
    return !m_records.empty();
}

void CCmdLineParser::_Split(CCmdLineRecord& record) {
    const stringEx& raw = record.raw;
    if (!raw.first_in(m_switch_prefixes) || raw.size() == 1) return;

    ++m_switch_count;
    const std::size_t separator = raw.view().find_first_of(m_value_separators.view(), 1);
    if (separator == stringEx::npos) {
        record.name = raw.substr(1);
    } else {
        record.name = raw.substr(1, separator - 1);
        record.value = raw.substr(separator + 1);
    }
}

template <class Predicate>
std::ptrdiff_t CCmdLineParser::_FindRecord(std::size_t nth, Predicate&& fits) const {
    for (std::size_t i = m_first_arg; i < m_records.size(); ++i) {
        if (fits(m_records[i]) && nth-- == 0) return static_cast<std::ptrdiff_t>(i);
    }
    return -1;
}

std::ptrdiff_t CCmdLineParser::Find(const stringEx& name, std::size_t nth) const {
    if (name.empty()) return -1;
    return _FindRecord(nth, [&name](const CCmdLineRecord& record) { return record.name == name; });
}

stringEx CCmdLineParser::GetValue(const stringEx& name, std::size_t nth) const {
    const std::ptrdiff_t index = Find(name, nth);
    return index < 0 ? stringEx() : m_records[static_cast<std::size_t>(index)].value;
}

stringEx CCmdLineParser::GetPositional(std::size_t nth) const {
    const std::ptrdiff_t index =
        _FindRecord(nth, [](const CCmdLineRecord& record) { return record.name.empty(); });
    return index < 0 ? stringEx() : m_records[static_cast<std::size_t>(index)].raw;
}

std::size_t CCmdLineParser::GetPositionalCount() const {
    const std::size_t taken = std::size_t{m_switch_count} + m_first_arg;
    return m_records.size() - std::min(taken, m_records.size());
}

}  // namespace tallycsv
