#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Fastlog/Duallog.h"

namespace Duallog {

/// Keeps the newest trace lines in a fixed number of bytes, for the time when something went wrong.
/// All memory is taken at construction; a new line pushes the oldest ones out.
class SRTE_EXPORT RingSink final : public Sink {
public:
    explicit RingSink(std::size_t bytes);

    /// Kept as "TIME FACILITY/LEVEL TEXT". A line longer than the ring loses its end.
    void line(Fastlog::Facility const& facility, int level, double time,
              std::string_view text) override;
    void clear();

    /// The kept lines, oldest first, each ended by a newline.
    std::string dump() const;
    /// The same text as two pieces, without allocating.
    std::array<std::string_view, 2> pieces() const;

private:
    void append(std::string_view text);
    void dropOldestLine();

    std::vector<char> ring_;
    std::size_t begin_ = 0;
    std::size_t size_ = 0;
};

}  // namespace Duallog
