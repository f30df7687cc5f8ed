#pragma once

#include <compare>
#include <functional>
#include <string>
#include <string_view>

#include "Platform/Quor/Ptr.h"

namespace Bfd {

/// A name that stands in every row of a table: its copies share one text. Ordered by that text;
/// `Tag` makes each a type of its own.
template <class Tag>
class SharedName {
public:
    SharedName() = default;
    explicit SharedName(std::string_view name) {
        if (!name.empty()) text_ = Quor::makePtr<Text const>(name);
    }

    std::string_view stringValue() const {
        return text_ ? std::string_view(text_->value) : std::string_view();
    }

    friend bool operator==(SharedName const& a, SharedName const& b) {
        return a.text_ == b.text_ || a.stringValue() == b.stringValue();
    }
    friend std::strong_ordering operator<=>(SharedName const& a, SharedName const& b) {
        if (a.text_ == b.text_) return std::strong_ordering::equal;
        return a.stringValue() <=> b.stringValue();
    }

private:
    struct Text final : Quor::PtrInterface {
        explicit Text(std::string_view name) : value(name) {}
        std::string const value;
    };
    Quor::Ptr<Text const> text_;
};

/// Who asks for a session.
using AppName = SharedName<struct AppNameTag>;

}  // namespace Bfd

namespace L3 {

using VrfName = Bfd::SharedName<struct VrfNameTag>;

}  // namespace L3

template <class Tag>
struct std::hash<Bfd::SharedName<Tag>> {
    std::size_t operator()(Bfd::SharedName<Tag> const& name) const noexcept {
        return std::hash<std::string_view>()(name.stringValue());
    }
};
