// The agent's error record, from any bytes.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <list>
#include <string>

#include "RecordModel.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  if (input.ConsumeBool()) {
    model::checkStream(input.ConsumeRemainingBytesAsString());
    return 0;
  }
  std::list<std::string> items;
  while (input.remaining_bytes() > 0 && items.size() < 8) {
    items.push_back(input.ConsumeRandomLengthString());
  }
  model::checkItems(items);
  return 0;
}
