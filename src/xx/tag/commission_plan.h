// What makes a plan one that can be carried out.
#pragma once

#include <tagwirexx/commission.hpp>

namespace tagwire {
inline namespace v1 {

// Why it cannot; empty where it can.
std::string problem_of(const CommissioningPlan& plan);

std::string name_of(Area area);

}  // namespace v1
}  // namespace tagwire
