#pragma once
#include <optional>

#include "ResultStatus.h"

namespace BmcTest {

// The ResultStatus that call throws, if any; other exceptions pass through.
template <typename Call>
std::optional<ResultStatus> Raised(Call&& call) {
  try {
    call();
  } catch (const ResultStatus& status) {
    return status;
  }
  return std::nullopt;
}

}  // namespace BmcTest
