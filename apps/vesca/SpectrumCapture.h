#pragma once

#include <string>

#include "PluginBase/SnapshotSlots.h"

namespace App {

/// The average spectrum of a whole audio file, as the chain's spectrum meter sees it: a snapshot named after
/// the file, without its folder and extension.
///
/// `strType` is a label of "Spectrum Type": "Linear", "1/3 Octave" or "Critical".
/// Failures: FileFailure, also for a file that is shorter than one window of the meter.
SnapshotRecord CaptureSpectrum(const std::string& strPath, const std::string& strType);

/// A target above whose last frequency a source still goes on, as its file has the lower sample rate, says
/// nothing about what lies there. It is completed by the source itself, at the level at which the two agree:
/// matching then leaves those frequencies as they are.
void CompleteTarget(const SnapshotRecord& source, SnapshotRecord& target);

}  // namespace App
