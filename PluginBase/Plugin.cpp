#include "PluginBase/Plugin.h"

#include <bit>
#include <mutex>
#include <utility>

#include "PluginBase/ParameterRef.h"
#include "PluginBase/StateBlock.h"
#include "dsp/vector/Dispatch.h"
#include "hvBase/Util/ModulePath.h"
#include "hvBase/Util/Text.h"

namespace {

constexpr std::size_t kLoggedBlocks = 100;
constexpr std::uint32_t kNotFrozen = 0xFFFFFFFF;
constexpr const char* kFrozenDelayName = "FrozenSystemDelay";

std::string StoredName(const ParameterRef& parameter) {
    return Util::Format("%1%2.%3", "Params.", parameter.Owner().Name(), parameter.Name());
}

/// Reads a parameter's stored value into fValue; an absent one leaves it.
void ReadStored(Util::SettingsStore& settings, const ParameterRef& parameter, double& fValue) {
    if (parameter.Group() == ParameterGroup::Float) {
        std::vector<std::uint8_t> bytes;
        if (!settings.GetBytes(StoredName(parameter), bytes) || bytes.size() < 4) return;
        std::uint32_t uBits = 0;
        for (std::size_t i = 0; i < 4; ++i)
            uBits |= std::uint32_t{bytes[i]} << (8 * i);
        fValue = double{std::bit_cast<float>(uBits)};
        return;
    }
    std::uint32_t uNumber = 0;
    if (!settings.GetNumber(StoredName(parameter), uNumber)) return;
    switch (parameter.Group()) {
        case ParameterGroup::Bool:
            fValue = uNumber != 0;
            break;
        case ParameterGroup::Int:
            fValue = static_cast<std::int32_t>(uNumber);
            break;
        default:
            fValue = uNumber;
    }
}

void WriteStored(Util::SettingsStore& settings, const ParameterRef& parameter) {
    const double fValue = parameter.Get();
    if (parameter.Group() == ParameterGroup::Float) {
        const auto uBits = std::bit_cast<std::uint32_t>(static_cast<float>(fValue));
        std::uint8_t bytes[4];
        for (std::size_t i = 0; i < 4; ++i)
            bytes[i] = static_cast<std::uint8_t>(uBits >> (8 * i));
        settings.SetBytes(StoredName(parameter), bytes, sizeof bytes);
    } else {
        settings.SetNumber(StoredName(parameter),
                           static_cast<std::uint32_t>(static_cast<std::int64_t>(fValue)));
    }
}

}  // namespace

const char* const Plugin::kSettingsKey = "SOFTWARE\\Halvane\\Vesca\\DirectX";

Plugin::Plugin(std::unique_ptr<Util::SettingsStore> settings, ModuleFactory buildModules)
    : m_settings(std::move(settings)),
      m_uStateSize(StateBlock::kHeaderSize),
      m_uEditorMessage(Util::RegisterWindowMessageName(kEditorMessageName)) {
    DSP::DetectProcessor();
    m_blockLog.input.reserve(kLoggedBlocks);
    m_blockLog.output.reserve(kLoggedBlocks);
    m_transform = std::make_unique<Transform>(*this, buildModules);
    {
        const std::lock_guard lock(m_lock);
        LoadStoredParams();
    }
    m_transform->UpdateAll();
}

Plugin::~Plugin() {
    SaveStoredParams();
}

std::uint32_t Plugin::Process(std::uint32_t uFrames, float* inLeft, float* inRight, float* outLeft,
                              float* outRight) VESCA_NONBLOCKING {
    m_transform->SetStreamPosition(m_nBlockStart);
    const std::uint32_t uProduced = m_transform->Run(uFrames, inLeft, inRight, outLeft, outRight);
    if (m_bLogBlocks) LogBlock(uFrames, uProduced);
    return uProduced;
}

void Plugin::LogBlock(std::uint32_t uFrames, std::uint32_t uProduced) {
    const std::lock_guard lock(m_lock);
    if (m_blockLog.input.size() < kLoggedBlocks) {
        m_blockLog.input.push_back(uFrames);
        m_blockLog.output.push_back(uProduced);
    }
    if (m_blockLog.input.size() >= kLoggedBlocks) m_bLogBlocks = false;
}

Plugin::BlockLog Plugin::LoggedBlocks() {
    const std::lock_guard lock(m_lock);
    return m_blockLog;
}

void Plugin::BeginStreaming(std::uint32_t uSampleRate) {
    m_bStreaming = true;
    PostToEditor(EditorNotifyCode::StreamingStarted);
    m_transform->Reconfigure(uSampleRate);
    // The stream begins with all that was asked for.
    FinishBackgroundWork();
}

void Plugin::EndStreaming() {
    m_bStreaming = false;
    PostToEditor(EditorNotifyCode::StreamingStopped);
    m_transform->ResetStreams();
}

void Plugin::FinishBackgroundWork() {
    for (Component* component : m_components)
        component->FinishBackgroundWork();
}

void Plugin::AddComponent(Component& component) {
    m_components.push_back(&component);
    m_uStateSize += StateBlock::SectionSize(component);
}

void Plugin::CaptureState(std::vector<std::uint8_t>& bytes) const {
    StateBlock::Capture(m_components, StateBlock::Source::Present, bytes);
}

void Plugin::CaptureDefaultState(std::vector<std::uint8_t>& bytes) const {
    StateBlock::Capture(m_components, StateBlock::Source::Defaults, bytes);
}

bool Plugin::ApplyState(std::span<const std::uint8_t> bytes, ApplyMode mode) {
    const auto sections = StateBlock::Decode(m_components, bytes);
    if (!sections) return false;
    const std::vector<std::uint8_t> block(bytes.begin(), bytes.end());

    const std::lock_guard lock(m_lock);
    for (Component* component : m_components)
        component->BeginStateLoad();
    for (const StateBlock::Section& section : *sections) {
        for (const auto& [parameter, fValue] : section.entries) {
            const bool bTell = mode == ApplyMode::Notify && parameter.Group() != ParameterGroup::UInt &&
                               parameter.Get() != fValue;
            parameter.Set(fValue);
            if (!bTell) continue;
            const auto fFloat = static_cast<float>(parameter.Get());
            const bool bBool = parameter.Get() != 0.0;
            const auto nInt = static_cast<std::int32_t>(parameter.Get());
            NotifyParameterEvent(parameter.Group(), ParameterPhase::Value, *section.component,
                                 parameter.Index(),
                                 parameter.Group() == ParameterGroup::Float ? &fFloat : nullptr,
                                 parameter.Group() == ParameterGroup::Bool ? &bBool : nullptr,
                                 parameter.Group() == ParameterGroup::Int ? &nInt : nullptr);
        }
        if (section.uExtraBytes != 0) section.component->ReadExtraBytes(block, section.uExtraOffset);
    }
    for (Component* component : m_components)
        component->EndStateLoad();
    return true;
}

void Plugin::BeginPresetChange() {
    for (Component* component : m_components) {
        component->SetPresetChanging(true);
        component->BeginPresetChange();
    }
    const std::lock_guard block(m_transformLock);
    m_bPresetChanging = true;
    m_bPresetChangeSeen = true;
}

void Plugin::EndPresetChange() {
    OnPresetChangeEnding();
    for (Component* component : m_components) {
        component->SetPresetChanging(false);
        component->EndPresetChange();
    }
    m_bPresetChanging = false;
    m_transform->UpdateAll();
}

void Plugin::LoadStoredParams() {
    for (const ParameterRef& parameter : AllParameters(m_components)) {
        if (parameter.Info().storageClass != StorageClass::Settings) continue;
        double fValue = parameter.Get();
        ReadStored(*m_settings, parameter, fValue);
        parameter.Set(fValue);
    }
    std::uint32_t uFrozen = kNotFrozen;
    m_settings->GetNumber(kFrozenDelayName, uFrozen);
    m_nFrozenDelay = static_cast<std::int32_t>(uFrozen);
}

void Plugin::SaveStoredParams() {
    for (const ParameterRef& parameter : AllParameters(m_components)) {
        if (parameter.Info().storageClass == StorageClass::Settings) WriteStored(*m_settings, parameter);
    }
}

std::string Plugin::InstallPath() {
    return m_settings->GetText("InstallPath", Util::DefaultInstallPath());
}

std::string Plugin::DataFolder() {
    return m_settings->IsLasting() ? InstallPath() : m_settings->GetText("InstallPath", "");
}

void Plugin::SetFrozenSystemDelay(std::optional<std::uint32_t> frozen) {
    m_nFrozenDelay = frozen ? std::int64_t{*frozen} : -1;
    if (!m_bPresetChanging) RequestDelayUpdate();
    m_settings->SetNumber(kFrozenDelayName, frozen.value_or(kNotFrozen));
}

std::optional<std::uint32_t> Plugin::FrozenSystemDelay() const {
    const std::int64_t nFrozen = m_nFrozenDelay;
    if (nFrozen < 0) return std::nullopt;
    return static_cast<std::uint32_t>(nFrozen);
}

// A component may ask for these while the transform is still being built; its first update covers them.
void Plugin::RequestActivityUpdate() {
    if (m_transform) m_transform->RequestActivityUpdate();
}

void Plugin::RequestDelayUpdate() {
    if (m_transform) m_transform->RequestDelayUpdate();
}

void Plugin::ResetAll() {
    if (m_transform) m_transform->ResetAll();
}

void Plugin::PostToEditor(EditorNotifyCode code) noexcept {
    const Util::WindowHandle window = m_editorWindow;
    if (!window) return;
    const bool bRefresh = code == EditorNotifyCode::Refresh;
    if (bRefresh && m_bNotifyPending.Exchange(true)) return;
    const bool bPosted = Util::PostToWindow(window, m_uEditorMessage, static_cast<std::uintptr_t>(code), 0);
    if (bRefresh && !bPosted) m_bNotifyPending = false;
}

std::uint32_t Plugin::SampleRate() const noexcept {
    return m_transform ? m_transform->SampleRate() : 44100;
}

std::uint32_t Plugin::InputChannels() const noexcept {
    return m_transform ? m_transform->InputChannels() : 1;
}

std::uint32_t Plugin::OutputChannels() const noexcept {
    return m_transform ? m_transform->OutputChannels() : 1;
}

float Plugin::AltSoloQ() const noexcept {
    return m_transform ? m_transform->DerivedSettings().AltSoloQ() : 18.0f;
}
