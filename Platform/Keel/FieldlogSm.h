#pragma once

#include "Platform/Quor/Ptr.h"

namespace Keel {

/// The attribute-change log, as far as its readers pace themselves by it: while its output is
/// clogged, the tasks that feed it stop between two keys and come back later.
class FieldlogSm final : public Quor::PtrInterface {
public:
    bool outputClogged() const { return outputClogged_; }
    void outputCloggedIs(bool clogged) { outputClogged_ = clogged; }

private:
    bool outputClogged_ = false;
};

}  // namespace Keel
