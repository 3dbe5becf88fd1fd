// SPDX-License-Identifier: GPL-3.0-or-later
#include "lv2/turtle/PortTurtle.h"

#include "controls/ControlTable.h"
#include "controls/ControlText.h"
#include "lv2/Ports.h"
#include "lv2/turtle/TurtleText.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace zephra::lv2 {

namespace {

const ControlInfo& controlOf(int index)
{
    return *findControl(kHostParameters[static_cast<std::size_t>(index)].id);
}

const PortGroup& groupOf(const ControlInfo& control)
{
    const auto holds = [&](const PortGroup& group) {
        return std::ranges::any_of(group.prefixes, [&](const char* prefix) {
            return prefix && std::string_view(control.name).starts_with(prefix);
        });
    };
    const auto found = std::ranges::find_if(kPortGroups, holds);
    if (found == std::end(kPortGroups))
        throw std::runtime_error(std::string(control.name) + " belongs to no group of ports");
    return *found;
}

/// What the positions of a knob mean whose port cannot carry that itself.
std::string marksOf(const ControlInfo& control)
{
    switch (control.text) {
    case TextRule::AttackTime:
    case TextRule::DecayTime:
    case TextRule::ReverbTime: break;
    case TextRule::Phase: return "At 0 the oscillator runs free.";
    case TextRule::LinLog: return "From linear at 0 to logarithmic at 10.";
    default: return {};
    }
    std::string text = "Knob position.";
    for (const int mark : {0, 2, 4, 6, 8, 10})
        text += (mark == 0 ? " " : ", ") + std::to_string(mark) + ": " +
                controlText(control.id, mark / 10.0);
    return text + ".";
}

std::string scalePoints(const ControlInfo& control)
{
    std::string points;
    for (std::size_t row = 0; row < control.texts.size(); ++row)
        points += std::string(points.empty() ? "lv2:scalePoint" : " ,") + " [\n\t\t\trdfs:label " +
                  quoted(control.texts[row]) + " ;\n\t\t\trdf:value " +
                  decimal(static_cast<float>(row)) + "\n\t\t]";
    return points;
}

std::string portProperties(const ControlInfo& control, const PortScale& scale)
{
    if (control.text == TextRule::TwoWords)
        return "lv2:integer , lv2:toggled";
    if (!control.texts.empty())
        return "lv2:integer , lv2:enumeration";
    if (scale.whole)
        return "lv2:integer";
    return scale.logarithmic ? "pprops:logarithmic" : "";
}

std::string property(std::string_view name, const std::string& value)
{
    std::string line = " ;\n\t\t";
    return value.empty() ? "" : line.append(name).append(" ").append(value);
}

} // namespace

const char* portSymbol(int index) { return controlOf(index).name; }

std::string signalPorts()
{
    return R"([
		a lv2:InputPort , atom:AtomPort ;
		lv2:index 0 ;
		lv2:symbol "events_in" ;
		lv2:name "MIDI In" ;
		atom:bufferType atom:Sequence ;
		atom:supports midi:MidiEvent , time:Position ;
		lv2:designation lv2:control
	] , [
		a lv2:OutputPort , atom:AtomPort ;
		lv2:index 1 ;
		lv2:symbol "notify_out" ;
		lv2:name "Notifications" ;
		atom:bufferType atom:Sequence ;
		lv2:designation lv2:control ;
		lv2:portProperty lv2:connectionOptional
	] , [
		a lv2:OutputPort , lv2:AudioPort ;
		lv2:index 2 ;
		lv2:symbol "left_out" ;
		lv2:name "Left" ;
		lv2:designation pg:left ;
		pg:group <urn:quillon-audio:zephra:group:output>
	] , [
		a lv2:OutputPort , lv2:AudioPort ;
		lv2:index 3 ;
		lv2:symbol "right_out" ;
		lv2:name "Right" ;
		lv2:designation pg:right ;
		pg:group <urn:quillon-audio:zephra:group:output>
	] , [
		a lv2:OutputPort , lv2:ControlPort ;
		lv2:index 4 ;
		lv2:symbol "latency" ;
		lv2:name "Latency" ;
		lv2:minimum 0.0 ;
		lv2:maximum 0.0 ;
		lv2:designation lv2:latency ;
		lv2:portProperty lv2:reportsLatency , lv2:integer , lv2:connectionOptional ,
			pprops:notOnGUI ;
		units:unit units:frame
	])";
}

std::string controlPort(int index, float start)
{
    const ControlInfo& control = controlOf(index);
    const PortScale& scale = portScale(index);
    const std::string group = std::string(kPluginUri) + ":group:" + groupOf(control).symbol;

    std::string port = "[\n\t\ta lv2:InputPort , lv2:ControlPort ;\n\t\tlv2:index " +
                       std::to_string(FirstControl + static_cast<std::uint32_t>(index));
    port += property("lv2:symbol", quoted(control.name));
    port += property("lv2:name", quoted(control.hostName));
    port += property("pg:group", "<" + group + ">");
    port += property("lv2:minimum", decimal(scale.fromNormalised(0.0f)));
    port += property("lv2:maximum", decimal(scale.fromNormalised(1.0f)));
    port += property("lv2:default",
                     decimal(scale.fromNormalised(control.defaultValue / control.scale)));
    port += property("pset:value", decimal(start));
    port += property("lv2:portProperty", portProperties(control, scale));
    port += property("units:unit", scale.unit ? std::string("units:") + scale.unit : "");
    const std::string marks = marksOf(control);
    port += property("rdfs:comment", marks.empty() ? "" : quoted(marks));
    if (const std::string points = scalePoints(control); !points.empty())
        port += " ;\n\t\t" + points;
    return port + "\n\t]";
}

} // namespace zephra::lv2
