// One question or one change on the server, blocking: lookup (both forms) and
// ExecSQL, and getCodeVal, one value of the codes table. They never look at the
// online switch: a caller asks only where a server has been seen, and a
// transport failure reaches it as an exception.
#pragma once

#include <string>

#include "data/tdm.h"

namespace quillorn::data {

// Null, a scalar, or (for several columns) an array of the first row's values
// by column position. 0 when the server answered with an exception or anything
// but a data set; both are logged.
Variant lookup(Tdm& dm, const std::string& SQL);
// "Select Fields from Table", with " where Where" unless Where is empty.
Variant lookup(Tdm& dm, const std::string& Fields, const std::string& Table, const std::string& Where);
// True only for the server's Boolean true.
bool ExecSQL(Tdm& dm, const std::string& SQL);

// VAL of the CODES row (DType, Code) as the cached codes hold it; "" for a
// missing row or a null.
std::string getCodeVal(Tdm& dm, const std::string& DType, const std::string& Code);

}  // namespace quillorn::data
