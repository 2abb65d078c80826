#include "draw/Picture.h"

namespace tracewell {

std::string commonScope(const std::vector<Signal>& signals)
{
    if (signals.empty()) {
        return {};
    }
    std::string common = signals[0].scope;
    for (const Signal& signal : signals) {
        while (!common.empty() && signal.scope.compare(0, common.size(), common) != 0) {
            // Drops the last scope: "top.dut." becomes "top.".
            common.pop_back();
            common.erase(common.rfind('.') + 1);
        }
    }
    return common;
}

} // namespace tracewell
