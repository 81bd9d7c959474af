// The zip driver over any bytes: the fuzzer's input as a zip file, mounted, every file read whole
// and as a stream (see ArchiveDrive.h for the properties). The parse never throws.
#include "ArchiveDrive.h"
#include "qk_log.h"
#include "qkvfs/Drivers/ZDriver.h"

// The drivers' failure lines would only slow the run down.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qk_log_set_stderr_levels(0);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::InputFile input(data, size, ".zip");
  std::unique_ptr<qkvfs::IDriver, fuzz::DestroyDriver> driver(
      fuzz::mount(&qkvfs::ZDriver::factory, input.path()));
  if (!driver) return 0;
  auto& zip = static_cast<qkvfs::ZDriver&>(*driver);
  fuzz::read_every_file(zip, [&zip](uint64_t index) {
    const qkvfs::ZEntry& entry = zip.entries()[index];
    return entry.method == 0 && entry.packed_size != entry.size;
  });
  return 0;
}
