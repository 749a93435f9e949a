// The error of every JSON reading of records (FromJson, the navreq tool's
// parameter files): the message names the value's path and the problem, e.g.
// "param.viaPoints[1].pointType: 4294967296 is out of range for int32".
#pragma once

#include <stdexcept>

namespace navreq {

class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace navreq
