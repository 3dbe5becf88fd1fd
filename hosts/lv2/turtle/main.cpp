// SPDX-License-Identifier: GPL-3.0-or-later
// make-lv2-turtle SOUNDBANKS BUNDLE
//
// Writes what hosts read about the plug-in before they load it: BUNDLE/manifest.ttl with the names
// of plug-in and presets, BUNDLE/zephra.ttl with the ports, and BUNDLE/presets with a file a
// factory patch. Everything comes from the control table and the compiled patches.
#include "library/LibraryFiles.h"
#include "library/LibraryPlaces.h"
#include "lv2/Ports.h"
#include "lv2/turtle/FactoryPatch.h"
#include "lv2/turtle/PortTurtle.h"
#include "lv2/turtle/TurtleText.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <utility>

namespace zephra::lv2 {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefixes = R"(@prefix atom: <http://lv2plug.in/ns/ext/atom#> .
@prefix bufsz: <http://lv2plug.in/ns/ext/buf-size#> .
@prefix doap: <http://usefulinc.com/ns/doap#> .
@prefix foaf: <http://xmlns.com/foaf/0.1/> .
@prefix log: <http://lv2plug.in/ns/ext/log#> .
@prefix lv2: <http://lv2plug.in/ns/lv2core#> .
@prefix midi: <http://lv2plug.in/ns/ext/midi#> .
@prefix opts: <http://lv2plug.in/ns/ext/options#> .
@prefix param: <http://lv2plug.in/ns/ext/parameters#> .
@prefix pg: <http://lv2plug.in/ns/ext/port-groups#> .
@prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .
@prefix pset: <http://lv2plug.in/ns/ext/presets#> .
@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .
@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .
@prefix state: <http://lv2plug.in/ns/ext/state#> .
@prefix time: <http://lv2plug.in/ns/ext/time#> .
@prefix units: <http://lv2plug.in/ns/extensions/units#> .
@prefix urid: <http://lv2plug.in/ns/ext/urid#> .
@prefix work: <http://lv2plug.in/ns/ext/worker#> .
@prefix xsd: <http://www.w3.org/2001/XMLSchema#> .
)";

constexpr const char* kPluginHead = R"(
	a lv2:Plugin , lv2:InstrumentPlugin , doap:Project ;
	doap:name "The Zephra" ;
	doap:license <https://www.gnu.org/licenses/gpl-3.0.html> ;
	doap:maintainer [ a foaf:Organization ; foaf:name "Quillon Audio" ] ;
	rdfs:comment "A polyphonic virtual-analogue synthesizer: three oscillators, one ladder filter, up to eight voices, reverb and delay." ;
	lv2:requiredFeature urid:map ;
	lv2:optionalFeature lv2:hardRTCapable , lv2:isLive , work:schedule , opts:options ,
		bufsz:boundedBlockLength , log:log , state:loadDefaultState , state:threadSafeRestore ;
	lv2:extensionData state:interface , work:interface , opts:interface ;
	opts:supportedOption bufsz:maxBlockLength , bufsz:nominalBlockLength , param:sampleRate ;
)";

std::ofstream turtleFile(const fs::path& path)
{
    fs::create_directories(path.parent_path());
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary);
    file << kPrefixes << '\n';
    return file;
}

/// A path below the soundbanks without the blanks that shells and some hosts stumble over.
std::string slug(const fs::path& place)
{
    std::string name = place.generic_string();
    std::ranges::replace(name, ' ', '_');
    return name;
}

std::string named(const std::string& suffix) { return '<' + uriText(kPluginUri + suffix) + '>'; }

std::string presetName(const FactoryPatch& patch) { return named(":preset:" + slug(patch.place)); }

/// Of a preset, in the bundle.
std::string fileName(const FactoryPatch& patch) { return "presets/" + slug(patch.place) + ".ttl"; }

std::string stateTurtle(const FactoryPatch& patch)
{
    return "\tstate:state [\n\t\t<" + std::string(kPatchUri) + "> \"" + base64(patch.chunk) +
           "\"^^xsd:base64Binary\n\t]";
}

void writeManifest(const fs::path& bundle, const std::vector<FactoryPatch>& patches)
{
    std::ofstream file = turtleFile(bundle / "manifest.ttl");
    file << named("")
         << "\n\ta lv2:Plugin , lv2:InstrumentPlugin ;\n\tlv2:binary <zephra.so> ;\n"
            "\trdfs:seeAlso <zephra.ttl> .\n";
    std::set<std::string> banks;
    for (const FactoryPatch& patch : patches) {
        const std::string bank = named(":bank:" + slug(patch.place.parent_path()));
        if (banks.insert(bank).second)
            file << '\n'
                 << bank << "\n\ta pset:Bank ;\n\trdfs:label " << quoted(patch.bank) << " .\n";
        file << '\n'
             << presetName(patch) << "\n\ta pset:Preset ;\n\tlv2:appliesTo " << named("")
             << " ;\n\trdfs:label " << quoted(patch.place.filename().string()) << " ;\n\tpset:bank "
             << bank << " ;\n\trdfs:seeAlso <" << uriText(fileName(patch)) << "> .\n";
    }
}

void writePlugin(const fs::path& bundle, const FactoryPatch& first)
{
    std::ofstream file = turtleFile(bundle / "zephra.ttl");
    for (const auto& [uri, label] : {std::pair{kPatchUri, "Patch"}, {kPortsUri, "Ports"}})
        file << '<' << uri << ">\n\ta lv2:Parameter ;\n\trdfs:label " << quoted(label)
             << " ;\n\trdfs:range atom:Chunk .\n\n";
    for (const PortGroup& group : kPortGroups)
        file << named(std::string(":group:") + group.symbol)
             << "\n\ta pg:InputGroup ;\n\tlv2:symbol " << quoted(group.symbol) << " ;\n\tlv2:name "
             << quoted(group.name) << " .\n\n";
    file << named(":group:output") << "\n\ta pg:StereoGroup , pg:OutputGroup ;\n"
         << "\tlv2:symbol \"output\" ;\n\tlv2:name \"Output\" .\n\n";

    file << named("") << kPluginHead << "\tlv2:minorVersion " << ZEPHRA_VERSION_MINOR
         << " ;\n\tlv2:microVersion " << ZEPHRA_VERSION_PATCH << " ;\n\tpg:mainOutput "
         << named(":group:output") << " ;\n"
         << stateTurtle(first) << " ;\n\tlv2:port " << signalPorts();
    for (int i = 0; i < kNumHostParameters; ++i)
        file << " , " << controlPort(i, first.ports[static_cast<std::size_t>(i)]);
    file << " .\n";
}

void writePreset(const fs::path& bundle, const FactoryPatch& patch)
{
    std::ofstream file = turtleFile(bundle / fileName(patch));
    file << presetName(patch) << "\n\ta pset:Preset ;\n\tlv2:appliesTo " << named("") << " ;\n"
         << stateTurtle(patch);
    for (int i = 0; i < kNumHostParameters; ++i)
        file << (i == 0 ? " ;\n\tlv2:port [" : " , [") << "\n\t\tlv2:symbol "
             << quoted(portSymbol(i)) << " ;\n\t\tpset:value "
             << decimal(patch.ports[static_cast<std::size_t>(i)]) << "\n\t]";
    file << " .\n";
}

void run(const fs::path& soundbanks, const fs::path& bundle)
{
    const std::vector<FactoryPatch> patches = readFactoryPatches(soundbanks);
    const fs::path firstPlace = nativePath(kFirstPatch).replace_extension();
    const auto first = std::ranges::find(patches, firstPlace, &FactoryPatch::place);
    if (first == patches.end())
        throw std::runtime_error("the patch that a new instrument starts with is missing");
    fs::remove_all(bundle / "presets");
    for (const FactoryPatch& patch : patches)
        writePreset(bundle, patch);
    writePlugin(bundle, *first);
    writeManifest(bundle, patches);
}

} // namespace
} // namespace zephra::lv2

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "make-lv2-turtle SOUNDBANKS BUNDLE\n";
        return 2;
    }
    try {
        zephra::lv2::run(argv[1], argv[2]);
    } catch (const std::exception& error) {
        std::cerr << "make-lv2-turtle: " << error.what() << '\n';
        return 1;
    }
}
