#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hvBase/Util/Relaxed.h"

/// The four parameter tables of a component, in the order in which every format walks them.
enum class ParameterGroup : std::uint32_t { Float = 0, Bool = 1, Int = 2, UInt = 3 };

/// The element of a preset file that carries a parameter. None means that no preset does.
enum class PresetGroup : std::uint32_t {
    Global = 0,
    Meters = 1,
    CrossOver = 2,
    Equalizer = 3,
    Reverb = 4,
    Maximizer = 5,
    Exciter = 6,
    Dynamics = 7,
    Imager = 8,
    Dither = 9,
    None = 10
};

/// Where a parameter's value is kept between two lives of the plug-in.
enum class StorageClass : std::uint32_t { StateBlock = 0, Nowhere = 1, Settings = 2 };

/// The colour of the mark that an editor paints on an automated control.
enum class Highlight : std::uint32_t { Red = 0, Blue = 1, Green = 2, Yellow = 3, None = 4 };

/// What the four parameter records have in common. The name, the units and the storage are fixed at
/// construction; the marks at the end change while the plug-in runs.
struct ParameterInfo {
    std::string strName;   ///< unique in the engine; shown, and written to presets
    std::string strUnits;  ///< may be empty
    PresetGroup presetGroup = PresetGroup::None;
    bool bAutomatable = false;
    StorageClass storageClass = StorageClass::StateBlock;
    std::uint32_t uPresetFlag = 0;  ///< 1 for a setting of the whole system, 0 for one of a module
    std::optional<std::uint32_t>
        optionSlot;  ///< free for the host adapter: the host's index of the parameter

    Util::Relaxed<bool> bMark = false;     ///< for the editor's display
    Util::Relaxed<bool> bTouched = false;  ///< the user holds the control; automation leaves the value alone

    Highlight GetHighlight() const { return static_cast<Highlight>(m_uHighlight.Get()); }

    /// A value beyond the last colour is ignored.
    void SetHighlight(std::uint32_t uHighlight) {
        if (uHighlight <= static_cast<std::uint32_t>(Highlight::None)) m_uHighlight = uHighlight;
    }

private:
    Util::Relaxed<std::uint32_t> m_uHighlight = static_cast<std::uint32_t>(Highlight::None);
};

/// The verbs of declaration. Each returns the record, so that a module declares a parameter in one line:
///
///     Float("Gain: Input Left", "dB", -144, 10, 0, &Gain::GainDb, &Gain::SetGainDb, 0)
///         .InPreset(PresetGroup::Global).Automatable();
template <class Record>
struct ParameterRecord : ParameterInfo {
    Record& InPreset(PresetGroup group) {
        presetGroup = group;
        return Self();
    }
    Record& Automatable() {
        bAutomatable = true;
        return Self();
    }
    Record& StoredIn(StorageClass where) {
        storageClass = where;
        return Self();
    }
    /// A preference of the user: kept in the settings store, in no preset and no state block.
    Record& Preference() {
        uPresetFlag = 1;
        return StoredIn(StorageClass::Settings);
    }

private:
    Record& Self() { return static_cast<Record&>(*this); }
};

struct FloatRecord : ParameterRecord<FloatRecord> {
    float fMin = 0;  ///< the range is inclusive; the setter keeps to it
    float fMax = 0;
    float fDefault = 0;
};

/// A label has up to four lengths, longest first, in one string split by line feeds.
struct BoolRecord : ParameterRecord<BoolRecord> {
    bool bDefault = false;
    std::vector<std::string> labels;  ///< none, or two: for false, for true

    BoolRecord& Labelled(std::string strFalse, std::string strTrue) {
        labels = {std::move(strFalse), std::move(strTrue)};
        return *this;
    }
};

struct IntRecord : ParameterRecord<IntRecord> {
    std::int32_t nMin = 0;
    std::int32_t nMax = 0;
    std::int32_t nDefault = 0;
    std::vector<std::string> labels;

    IntRecord& Labelled(std::vector<std::string> texts) {
        labels = std::move(texts);
        return *this;
    }

    /// Whether every value of the range has its own label; label i belongs to nMin + i.
    bool IsEnumeration() const {
        return !labels.empty() && std::int64_t{nMax} - nMin + 1 == static_cast<std::int64_t>(labels.size());
    }
};

struct UIntRecord : ParameterRecord<UIntRecord> {
    std::uint32_t uMin = 0;
    std::uint32_t uMax = 0;
    std::uint32_t uDefault = 0;
};
