#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Rvl {

/// A limit given by another key of the same object.
struct SKeyRelation
{
    enum eRelation
    {
        NotAbove,
        NotBelow,
        Above
    };

    eRelation relation = NotAbove;
    std::string path; ///< of the other key; one that begins with a dot is an attribute of the same node
    double factor = 1.0;
};

/// The device and the kinds of signals to which a key refers.
struct SSignalReference
{
    std::string device; ///< path of the key that names the device; empty if the object itself is the device
    std::string choice; ///< the attribute or element beside the key on which the kinds depend; may be empty
    /// Kinds of signals by choice, or for any choice under the empty text. None: no signal may be named.
    std::map<std::string, std::vector<std::string>> kinds;
    bool exclusive = false; ///< at most one key may refer to the signal exclusively
};

/// One key that a type reads; docs/type-descriptions.md gives the meaning of every field.
struct SKeyDescription
{
    enum eType
    {
        Text,
        Boolean,
        Integer,
        Real,
        Hexadecimal,
        Choice,
        Reference,
        Section,
        Element, ///< a node that names its own type in a child "Type"
        Object   ///< a node that names its own type in an attribute "Type"; only in the host's own part
    };

    std::string path;
    eType type = Text;
    bool required = false;
    std::string requiredUnless;
    std::optional<std::string> defaultText;
    std::string unit;
    std::optional<double> minimum;
    std::optional<double> maximum;
    bool exclusiveMinimum = false;
    std::vector<std::string> choices;
    std::string nameServer;
    std::vector<std::string> kinds;
    std::string narrowedWhile;              ///< path of a boolean key
    std::vector<std::string> narrowedKinds; ///< take the place of `kinds` while that one is true
    bool repeated = false;
    std::vector<SKeyRelation> relations;
    std::optional<double> excluded; ///< a number within the range that is not allowed
    std::string ofType; ///< for a reference: the type, or base of the type, of what is referred to
    std::optional<SSignalReference> signal;
    std::string onlyWith;   ///< path of a boolean key; not read unless that one is true
    bool unlimited = false; ///< the default stands for no limit
    bool lenient = false;   ///< a value below the minimum or past another key is a warning
    std::string role;       ///< what the value is to a loop or controller, such as "minimum"; may be empty
    std::string drives;  ///< how the object that is referred to is driven, such as "dutyCycle"; may be empty
    std::string example; ///< a value for short configurations; empty if none is given
    std::string meaning;
};

/// The name of a key's type as the description files write it.
const char* keyTypeName(SKeyDescription::eType type);

/// One sensor, actuator or port of a device.
struct SSignalDescription
{
    std::string name;
    std::string kind;
    std::string unit;
    std::string meaning;
    std::optional<double> minimum; ///< of an actuator, where it is fixed
    std::optional<double> maximum;
    std::string
        limitKey;       ///< of an actuator: the device's key that limits it in both directions; may be empty
    unsigned lines = 0; ///< of a port: their number; 0 if it is not known
};

/// One type of a plug-in, or an abstract base.
struct STypeDescription
{
    std::string name;
    std::string kind;
    std::vector<std::string> bases;
    std::vector<std::string> provides; ///< including those of its bases
    std::string example;               ///< a name for an object of the type; empty if none is given
    std::string meaning;
    std::string plugin;
    bool real = false; ///< a device or bus outside the program, or one that goes by the real time
    std::vector<SSignalDescription> signals; ///< of a device, including those of its bases
    std::vector<SKeyDescription> keys;       ///< including those of its bases, which come first

    /// The names of its signals of one of these kinds.
    std::vector<std::string> signalsOfKinds(const std::vector<std::string>& kinds) const;
    /// The key of that path, or null.
    const SKeyDescription* key(const std::string& path) const;
    /// The first key of that role, or null.
    const SKeyDescription* keyOfRole(const std::string& role) const;
};

/// The keys of one node of a configuration, by attribute and child element.
struct SKeyNode
{
    const SKeyDescription* key = nullptr; ///< what describes the node itself; null for a type's own node
    std::vector<std::pair<std::string, const SKeyDescription*>> attributes;
    std::vector<std::pair<std::string, std::unique_ptr<SKeyNode>>> children;

    const SKeyDescription* attribute(const std::string& name) const;
    const SKeyNode* child(const std::string& name) const;
    std::vector<std::string> attributeNames() const;
    std::vector<std::string> childNames() const;
};

/// Arranges keys by the nodes in which they stand. The keys are referred to, not copied.
std::unique_ptr<SKeyNode> arrangeKeys(const std::vector<SKeyDescription>& keys);

/// The described types of the plug-ins in use. Descriptions are added first and looked up afterwards.
class CTypeCatalogue
{
public:
    CTypeCatalogue();
    ~CTypeCatalogue();
    CTypeCatalogue(const CTypeCatalogue&) = delete;
    CTypeCatalogue& operator=(const CTypeCatalogue&) = delete;

    /// Adds the types of a description file. Throws CHostException (ExitFailure) with the file's name if it
    /// cannot be read or is not a valid description.
    void addFile(const std::filesystem::path& file);
    /// The same from a text; `source` names it in messages.
    void addText(const std::string& json, const std::string& source);
    /// Adds to every type the keys and signals of its bases. Throws CHostException (ExitFailure) if a base is
    /// described nowhere or is its own base.
    void resolve();

    /// The type of that name, with everything inherited, or null.
    const STypeDescription* find(const std::string& name) const;
    /// Whether the type is of that name, or has it among its bases, however far up.
    bool derives(const STypeDescription& type, const std::string& base) const;
    /// The keys of a type arranged by node. The type must be in the catalogue.
    const SKeyNode& keys(const STypeDescription& type) const;
    /// In the order of the files and of the types in them; abstract types only if `withAbstract`.
    std::vector<const STypeDescription*> types(bool withAbstract = false) const;
    /// The names of the types of one of these kinds.
    std::vector<std::string> namesOfKinds(const std::vector<std::string>& kinds) const;

private:
    void resolve(STypeDescription& type, std::vector<std::string>& descent);

    std::vector<std::unique_ptr<STypeDescription>> types_;
    std::map<std::string, STypeDescription*> byName_;
    std::map<std::string, bool> resolved_;
    mutable std::map<std::string, std::unique_ptr<SKeyNode>> arranged_;
};

} // namespace Rvl
