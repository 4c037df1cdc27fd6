#pragma once

#include "dsp/SnapshotFile.h"
#include "hvBase/Util/SettingsStore.h"

namespace DSP::Meter {

/// Takes over the snapshots that earlier versions kept in the settings: for each slot a curve of up to 417
/// pixels, one for each step of a logarithmic axis from 20 Hz to 20 kHz, and a name; and whether the display
/// draws the falling guide, which is the first built-in now. What is absent, or has another length, leaves
/// the state as it is. Never on the audio thread.
void MigrateSnapshots(Util::SettingsStore& settings, SnapshotState& state);

}  // namespace DSP::Meter
