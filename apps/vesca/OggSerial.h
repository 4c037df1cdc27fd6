#pragma once

#include <cstdint>
#include <string>

namespace App {

/// Gives every page of an Ogg file with one stream the same serial number. The sound library draws it from
/// the clock, and the same render would not give the same bytes. Throws what Util::File throws; a file that
/// is not made of Ogg pages is left as it is from the first foreign byte on.
void SetOggSerial(const std::string& strPath, std::uint32_t uSerial);

}  // namespace App
