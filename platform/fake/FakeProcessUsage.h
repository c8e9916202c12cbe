#pragma once

#include "platform/ProcessUsage.h"

namespace nomara {

/// What the test has set; for one thread.
class FakeProcessUsage final : public ProcessUsage {
public:
    Totals now;
    Totals totals() override { return now; }
};

} // namespace nomara
