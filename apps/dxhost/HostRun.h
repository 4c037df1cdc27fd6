#pragma once

#include <iosfwd>

#include "apps/dxhost/HostOptions.h"
#include "apps/dxhost/WavFile.h"

namespace DxHost {

/// Does what a command line asks for: makes the plug-in, sets it up, plays, writes and compares. Gives false
/// if what came out is not what was expected. `output` takes what a person asked to read.
///
/// Throws an Exception::Base, a Failure if a call of the platform or the plug-in failed.
bool RunHost(const HostOptions& options, std::ostream& output);

/// The same sound in another sample format: "u8", "s16", "s24", "s32", "f32" or "f64". Throws a UsageError
/// for any other name.
Sound ConvertSound(const Sound& sound, const std::string& strFormat);

}  // namespace DxHost
