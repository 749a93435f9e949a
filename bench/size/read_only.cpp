// DecodeRequest alone, linked with the reading library only.
#include <vector>

#include "escape.h"
#include "navreq/request_reader.h"

int main() {
  std::vector<char> bytes;
  navreq_size::Escape(&bytes);
  const navreq::DecodedRequest decoded = navreq::DecodeRequest(bytes);
  return decoded.ok() ? 0 : 1;
}
