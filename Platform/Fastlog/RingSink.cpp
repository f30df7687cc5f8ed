#include "Platform/Fastlog/RingSink.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "Platform/Quor/Assert.h"

namespace Duallog {
namespace {

constexpr std::size_t maxHead = 128;  // longest "TIME FACILITY/LEVEL " that is kept whole

}  // namespace

RingSink::RingSink(std::size_t bytes) : ring_(bytes) {
    QUOR_ASSERT(bytes > maxHead, "bytes > maxHead");
}

void RingSink::line(Fastlog::Facility const& facility, int level, double time,
                    std::string_view text) {
    std::array<char, maxHead> head;
    auto const name = facility.name();
    auto const printed = std::snprintf(head.data(), head.size(), "%.6f %.*s/%d ", time,
                                       static_cast<int>(name.size()), name.data(), level);
    auto const headSize = std::min(static_cast<std::size_t>(printed), head.size() - 1);

    text = text.substr(0, ring_.size() - headSize - 1);
    while (ring_.size() - size_ < headSize + text.size() + 1) dropOldestLine();
    append({head.data(), headSize});
    append(text);
    append("\n");
}

void RingSink::clear() {
    begin_ = size_ = 0;
}

std::string RingSink::dump() const {
    auto const [first, second] = pieces();
    return std::string(first) += second;
}

std::array<std::string_view, 2> RingSink::pieces() const {
    auto const first = std::min(size_, ring_.size() - begin_);
    return {std::string_view(ring_.data() + begin_, first),
            std::string_view(ring_.data(), size_ - first)};
}

void RingSink::append(std::string_view text) {
    auto const end = (begin_ + size_) % ring_.size();
    auto const first = std::min(text.size(), ring_.size() - end);
    std::memcpy(ring_.data() + end, text.data(), first);
    std::memcpy(ring_.data(), text.data() + first, text.size() - first);
    size_ += text.size();
}

void RingSink::dropOldestLine() {
    std::size_t length = 0;
    for (auto const piece : pieces()) {
        auto const newline = piece.find('\n');
        if (newline != piece.npos) {
            length += newline + 1;
            break;
        }
        length += piece.size();
    }
    begin_ = (begin_ + length) % ring_.size();
    size_ -= length;
}

}  // namespace Duallog
