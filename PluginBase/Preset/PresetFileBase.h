#pragma once

#include <string>
#include <vector>

#include "PluginBase/Plugin.h"
#include "PluginBase/Preset/Exception.h"
#include "PluginBase/Preset/PresetData.h"

namespace Preset {

/// A preset: the values of all parameters of a sound, in ten groups of modules, of which any may be left out,
/// and the file that holds them. What the host does not decide is here; the reading of other format versions
/// is the derived class's.
///
/// Files:    "name.xml", UTF-8 text. A file appears whole or not at all: a failed or interrupted Save leaves
///           the old one, and of several savers, in any processes, one stands.
/// Failures: Util::Exception::FileIO for the file, Exception::Parse and Exception::Value for what it holds.
///           The preset, and the sound, then stay as they were.
/// Settings: "VerbosePreset" and "ReferenceNamePreset" of the plug-in's store are read at construction. The
///           first has Save write names, units and ranges too; the second has Load go by the names.
/// Threads:  one at a time, the editor's or the host's control thread. Apply may run beside the audio.
class PresetFileBase {
public:
    static constexpr const char* kExtension = ".xml";
    static constexpr const char* kPattern = "*.xml";  ///< of the files that a folder is searched for

    /// The folder with the user's presets, ending in a separator: "PresetFolder" of the settings, or
    /// "Presets" in the folder of the user's data.
    static std::string UserFolder(Plugin& plugin);

    /// Captures what sounds now.
    explicit PresetFileBase(Plugin& plugin, std::string strName = "");
    virtual ~PresetFileBase() = default;

    /// Takes the present values of all parameters and puts every group in the preset. The attributes stay.
    void Capture();

    /// Reads a file and takes over its name and place. A file that is read for use, not for reading only, has
    /// "LastUsed" stamped, in the preset; the file itself is left alone.
    void Load(const std::string& strPath, bool bReadOnly);

    /// Writes a file, after making its folder if that is missing, and takes over its name and place.
    void Save(const std::string& strPath);

    /// Stamps the preset as used and changed now, and writes it to a folder under its name. A name that is
    /// empty or has a separator in it fails as a file that can't be opened.
    void SaveAs(const std::string& strFolder);

    /// Hands the values of all groups in the preset to the components, where they differ, in one preset
    /// change; the setters clamp. Then empties the block buffers, so that no audio of the old sound comes out
    /// of the new one. False, and nothing done, if the preset does not fit the components.
    bool Apply();

    /// Deletes the file. Throws "Error removing preset %1: %2".
    void Remove();

    /// Writes the local time into "LastUsed", and into "LastModified".
    void StampUsed();
    void StampModified();

    bool IsGroupEnabled(PresetGroup group) const { return m_content.HasGroup(group); }
    void EnableGroup(PresetGroup group, bool bEnable);

    /// "ReadOnly", "Comments", "LastUsed" or "LastModified"; empty if there is none. Other names are carried
    /// but not saved.
    std::string Attribute(const std::string& strName) const;
    void SetAttribute(const std::string& strName, std::string strText);

    const std::string& Name() const { return m_strName; }
    void SetName(std::string strName) { m_strName = std::move(strName); }
    /// The file last loaded or saved, and its folder; empty if there is none.
    const std::string& Path() const { return m_strPath; }
    std::string Folder() const;

    /// The values, one record for each component in list order.
    const std::vector<Record>& Records() const { return m_content.records; }

protected:
    /// What a file of another format version becomes. The refusal is what to throw for an unknown one.
    virtual Content ReadOtherVersion(const std::string& strText, const Exception::Version& refusal) const = 0;

    Plugin& m_plugin;

private:
    bool FitsComponents() const;
    void TakePath(const std::string& strPath);

    std::string m_strPath;
    std::string m_strName;
    Content m_content;
    bool m_bReferenceName;
    bool m_bVerbose;
};

}  // namespace Preset
