#include "bench/table/Runs.h"

#ifdef VESCA_LILV

#include <lilv/lilv.h>
#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/options/options.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "hvBase/Util/Text.h"

namespace Bench {

namespace {

constexpr std::uint32_t kFrames = 512;

struct Control {
    std::string strSymbol;
    float fValue;
};

struct Peer {
    std::string strRow;
    std::string strName;
    std::string strUri;
    std::vector<Control> controls;
};

/// Numbers for URIs, as plug-ins ask for them.
class UridMap {
public:
    LV2_URID Map(const char* uri) {
        const auto known = std::find(m_uris.begin(), m_uris.end(), uri);
        if (known == m_uris.end()) {
            m_uris.emplace_back(uri);
            return static_cast<LV2_URID>(m_uris.size());
        }
        return static_cast<LV2_URID>(known - m_uris.begin() + 1);
    }
    const char* Unmap(LV2_URID urid) const {
        return urid >= 1 && urid <= m_uris.size() ? m_uris[urid - 1].c_str() : nullptr;
    }

private:
    std::vector<std::string> m_uris;
};

LV2_URID Map(LV2_URID_Map_Handle map, const char* uri) {
    return static_cast<UridMap*>(map)->Map(uri);
}
const char* Unmap(LV2_URID_Unmap_Handle map, LV2_URID urid) {
    return static_cast<UridMap*>(map)->Unmap(urid);
}
/// Work that a plug-in would hand to another thread is left undone: none is needed for audio.
LV2_Worker_Status Schedule(LV2_Worker_Schedule_Handle, std::uint32_t, const void*) {
    return LV2_WORKER_SUCCESS;
}

/// A small host: one instance of a plug-in with every port connected.
class Lv2Instance {
public:
    static std::shared_ptr<Lv2Instance> Load(LilvWorld* world, const Peer& peer) {
        std::shared_ptr<Lv2Instance> instance(new Lv2Instance);
        LilvNode* const uri = lilv_new_uri(world, peer.strUri.c_str());
        const LilvPlugin* const plugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), uri);
        lilv_node_free(uri);
        if (!plugin || !instance->Start(world, plugin, peer.controls)) return nullptr;
        return instance;
    }
    ~Lv2Instance() {
        if (!m_instance) return;
        lilv_instance_deactivate(m_instance);
        lilv_instance_free(m_instance);
    }
    Lv2Instance(const Lv2Instance&) = delete;
    Lv2Instance& operator=(const Lv2Instance&) = delete;

    void Process(float* left, float* right) {
        float* const channels[] = {left, right};
        for (std::size_t i = 0; i < m_inputs.size(); ++i)
            std::copy_n(channels[i % 2], kFrames, m_inputs[i].data());
        for (auto& buffer : m_atoms)
            reinterpret_cast<LV2_Atom_Sequence*>(buffer.data())->atom.size = sizeof(LV2_Atom_Sequence_Body);
        lilv_instance_run(m_instance, kFrames);
        for (std::size_t i = 0; i < std::min<std::size_t>(m_outputs.size(), 2); ++i)
            std::copy_n(m_outputs[i].data(), kFrames, channels[i]);
    }

private:
    Lv2Instance() = default;

    bool Start(LilvWorld* world, const LilvPlugin* plugin, const std::vector<Control>& controls) {
        m_map = {&m_uris, &Map};
        m_unmap = {&m_uris, &Unmap};
        m_schedule = {nullptr, &Schedule};
        const LV2_URID intType = m_uris.Map(LV2_ATOM__Int);
        m_nBlock = kFrames;
        m_options[0] = {LV2_OPTIONS_INSTANCE, 0,       m_uris.Map(LV2_BUF_SIZE__maxBlockLength),
                        sizeof m_nBlock,      intType, &m_nBlock};
        m_options[1] = {LV2_OPTIONS_INSTANCE, 0,       m_uris.Map(LV2_BUF_SIZE__nominalBlockLength),
                        sizeof m_nBlock,      intType, &m_nBlock};
        m_options[2] = {};
        const LV2_Feature map{LV2_URID__map, &m_map}, unmap{LV2_URID__unmap, &m_unmap},
            options{LV2_OPTIONS__options, m_options}, bounded{LV2_BUF_SIZE__boundedBlockLength, nullptr},
            schedule{LV2_WORKER__schedule, &m_schedule};
        const LV2_Feature* const features[] = {&map, &unmap, &options, &bounded, &schedule, nullptr};
        m_instance = lilv_plugin_instantiate(plugin, kRate, features);
        if (!m_instance) return false;
        Connect(world, plugin, controls);
        lilv_instance_activate(m_instance);
        return true;
    }

    void Connect(LilvWorld* world, const LilvPlugin* plugin, const std::vector<Control>& controls) {
        LilvNode* const audio = lilv_new_uri(world, LILV_URI_AUDIO_PORT);
        LilvNode* const input = lilv_new_uri(world, LILV_URI_INPUT_PORT);
        LilvNode* const atom = lilv_new_uri(world, LV2_ATOM__AtomPort);
        const std::uint32_t uPorts = lilv_plugin_get_num_ports(plugin);
        m_values.assign(uPorts, 0.0f);
        lilv_plugin_get_port_ranges_float(plugin, nullptr, nullptr, m_values.data());
        m_inputs.reserve(uPorts);
        m_outputs.reserve(uPorts);
        m_atoms.reserve(uPorts);
        for (std::uint32_t i = 0; i < uPorts; ++i) {
            const LilvPort* const port = lilv_plugin_get_port_by_index(plugin, i);
            if (lilv_port_is_a(plugin, port, audio)) {
                auto& buffers = lilv_port_is_a(plugin, port, input) ? m_inputs : m_outputs;
                lilv_instance_connect_port(m_instance, i, buffers.emplace_back(kFrames).data());
            } else if (lilv_port_is_a(plugin, port, atom)) {
                lilv_instance_connect_port(m_instance, i, m_atoms.emplace_back(8192).data());
            } else {
                const std::string strSymbol = lilv_node_as_string(lilv_port_get_symbol(plugin, port));
                for (const Control& control : controls) {
                    if (control.strSymbol == strSymbol) m_values[i] = control.fValue;
                }
                lilv_instance_connect_port(m_instance, i, &m_values[i]);
            }
        }
        for (LilvNode* const node : {audio, input, atom})
            lilv_node_free(node);
    }

    UridMap m_uris;
    LV2_URID_Map m_map{};
    LV2_URID_Unmap m_unmap{};
    LV2_Worker_Schedule m_schedule{};
    LV2_Options_Option m_options[3]{};
    std::int32_t m_nBlock = 0;
    LilvInstance* m_instance = nullptr;
    std::vector<float> m_values;
    std::vector<std::vector<float>> m_inputs, m_outputs;
    std::vector<std::vector<std::uint64_t>> m_atoms;
};

/// The controls of `patterns` for each of a range of numbers.
std::vector<Control> Numbered(std::vector<Control> fixed, int nFirst, int nLast,
                              const std::vector<Control>& patterns) {
    for (int n = nFirst; n <= nLast; ++n) {
        for (const Control& pattern : patterns)
            fixed.push_back({Util::Format(pattern.strSymbol.c_str(), n), pattern.fValue});
    }
    return fixed;
}

std::vector<Peer> Peers() {
    const std::string strLsp = "http://lsp-plug.in/plugins/lv2/";
    const std::string strCalf = "http://calf.sourceforge.net/plugins/";
    return {
        {"equalizer Analog, 8 live nodes", "lsp para_equalizer_x16_stereo",
         strLsp + "para_equalizer_x16_stereo",
         Numbered({}, 0, 7, {{"ft_%1", 1}, {"g_%1", 1.5f}, {"q_%1", 1}})},
        {"equalizer Analog, 8 live nodes", "calf Equalizer8Band", strCalf + "Equalizer8Band",
         Numbered({{"hp_active", 1},
                   {"lp_active", 1},
                   {"ls_active", 1},
                   {"ls_level", 2},
                   {"hs_active", 1},
                   {"hs_level", 2}},
                  1, 4, {{"p%1_active", 1}, {"p%1_level", 2}})},
        {"equalizer Digital, FFT 4096", "lsp para_equalizer_x16_stereo, linear phase",
         strLsp + "para_equalizer_x16_stereo",
         Numbered({{"mode", 2}}, 0, 7, {{"ft_%1", 1}, {"g_%1", 1.5f}, {"q_%1", 1}})},
        {"crossover, 4 bands, Analog", "lsp crossover_stereo", strLsp + "crossover_stereo", {}},
        {"crossover, 4 bands, Analog", "calf XOver4Band", strCalf + "XOver4Band", {}},
        {"dynamics, 4 bands, with crossover", "calf MultibandCompressor", strCalf + "MultibandCompressor",
         Numbered({}, 0, 3, {{"bypass%1", 0}, {"threshold%1", 0.02f}, {"ratio%1", 3}})},
        {"dynamics, 4 bands, with crossover", "lsp mb_compressor_stereo", strLsp + "mb_compressor_stereo",
         Numbered({{"mode", 1}}, 0, 7, {{"cr_%1", 3}, {"al_%1", 0.02f}})},
        {"exciter Tube, 4 bands, with crossover", "calf Exciter (one band)", strCalf + "Exciter", {}},
        {"imager, 4 bands, and channel operations, with crossover",
         "calf StereoTools (one band)",
         strCalf + "StereoTools",
         {{"slev", 1.5f}}},
        {"reverb Plate", "calf Reverb", strCalf + "Reverb", {}},
        {"maximizer Intelligent", "lsp limiter_stereo", strLsp + "limiter_stereo", {{"th", 0.3f}}},
        {"maximizer Intelligent", "calf Limiter", strCalf + "Limiter", {{"limit", 0.3f}}},
        {"maximizer Intelligent, inter-sample",
         "lsp limiter_stereo, oversampled 4 times",
         strLsp + "limiter_stereo",
         {{"th", 0.3f}, {"ovs", 5}}},
        {"maximizer Intelligent, inter-sample",
         "calf Limiter, oversampled 4 times",
         strCalf + "Limiter",
         {{"limit", 0.3f}, {"oversampling", 4}}},
    };
}

}  // namespace

std::vector<Run> Lv2Peers() {
    // Plug-ins hold on to their world: it lives as long as the program.
    static LilvWorld* const world = lilv_world_new();
    lilv_world_load_all(world);
    std::vector<Run> runs;
    for (const Peer& peer : Peers()) {
        const auto instance = Lv2Instance::Load(world, peer);
        if (!instance) {
            std::fprintf(stderr, "%s is not installed\n", peer.strName.c_str());
            continue;
        }
        runs.push_back({peer.strRow, peer.strName, "", kFrames,
                        [instance](float* left, float* right) { instance->Process(left, right); }});
    }
    return runs;
}

}  // namespace Bench

#else

namespace Bench {

std::vector<Run> Lv2Peers() {
    return {};
}

}  // namespace Bench

#endif
