// The archive driver over any bytes: the fuzzer's input as a .qkpk archive, mounted (a refusal,
// a driver, or the index's ReadFormatError or out_of_range), every file read whole and as a
// stream (see ArchiveDrive.h for the properties).
#include <stdexcept>

#include "ArchiveDrive.h"
#include "qk_log.h"
#include "qkvfs/Drivers/QKPKDriver.h"

// The drivers' failure lines would only slow the run down.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qk_log_set_stderr_levels(0);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::InputFile input(data, size, ".qkpk");
  std::unique_ptr<qkvfs::IDriver, fuzz::DestroyDriver> driver;
  try {
    driver.reset(fuzz::mount(&qkvfs::QKPKDriver::factory, input.path()));
  } catch (const qk::ReadFormatError&) {
    return 0;
  } catch (const std::out_of_range&) {
    return 0;
  }
  if (driver) fuzz::read_every_file(*driver, [](uint64_t) { return false; });
  return 0;
}
