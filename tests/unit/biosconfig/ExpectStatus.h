#pragma once
#include <gtest/gtest.h>

#include <string>

#include "ErrorMgr.h"
#include "ResultStatus.h"

// Runs call and checks that it throws a ResultStatus with code, the framework's sentence for
// it, and a detail that mentions detailPart.
template <typename Call>
void ExpectStatus(Call&& call, uint16_t code, const std::string& detailPart,
                  const std::string& context) {
  try {
    call();
    ADD_FAILURE() << context << ": nothing thrown, expected " << code;
  } catch (const ResultStatus& status) {
    EXPECT_EQ(status.GetCode(), code) << context << ": " << status.GetDetail();
    EXPECT_EQ(status.GetMessage(), ErrorMgr::GetInstance()->Get(code)) << context;
    EXPECT_NE(status.GetDetail().find(detailPart), std::string::npos)
        << context << ": detail \"" << status.GetDetail() << "\" lacks \"" << detailPart << '"';
  }
}
