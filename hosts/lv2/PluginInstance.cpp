// SPDX-License-Identifier: GPL-3.0-or-later
#include "lv2/PluginInstance.h"

#include "common/ByteOrder.h"
#include "controls/ControlTable.h"
#include "library/LibraryPlaces.h"
#include "library/PatchChunk.h"
#include "lv2/Atoms.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <thread>

namespace zephra::lv2 {

namespace {

/// Hosts keep port values as texts of six digits or more: nearer than this is the same place.
constexpr float kSamePlace = 1e-5f; // of the knob's way

constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();

/// Bytes of the ports in a state.
constexpr std::size_t kPortsBytes = kNumHostParameters * sizeof(float);

bool samePlace(float a, float b) noexcept { return std::abs(a - b) < kSamePlace; }

template <class Feature> void take(const LV2_Feature& feature, const char* uri, Feature*& into)
{
    if (feature.data && std::strcmp(feature.URI, uri) == 0)
        into = static_cast<Feature*>(feature.data);
}

/// Bytes of a channel message by its status, 0 for what the instrument has no use for.
int midiLength(std::uint8_t status) noexcept
{
    if (status < 0x80 || status >= 0xf0)
        return 0;
    return (status & 0xe0) == 0xc0 ? 2 : 3;
}

} // namespace

HostFeatures::HostFeatures(const LV2_Feature* const* list) noexcept
{
    for (; list && *list; ++list) {
        take(**list, LV2_URID__map, map);
        take(**list, LV2_WORKER__schedule, worker);
        take(**list, LV2_OPTIONS__options, options);
        take(**list, LV2_LOG__log, log);
    }
}

// --- Life -----------------------------------------------------------------------------------

PluginInstance::PluginInstance(double sampleRate, const HostFeatures& features)
    : urids(*features.map), worker(features.worker), synth(surroundings()), messages(synth)
{
    if (features.log) {
        lv2_log_logger_init(&logger, features.map, features.log);
        synth.messages.setHandler([this](std::string_view title, std::string_view text) {
            lv2_log_error(&logger, "%s: %s\n", std::string(title).c_str(),
                          std::string(text).c_str());
        });
    }
    for (int i = 0; i < kNumHostParameters; ++i) {
        const int id = kHostParameters[static_cast<std::size_t>(i)].id;
        const auto at = static_cast<std::size_t>(i);
        seen[at] = portScale(i).fromNormalised(defaultValue(id) / controlScale(id));
        restored[at] = kNothing;
    }

    options.rate = static_cast<float>(sampleRate);
    synth.setSampleRate(sampleRate);
    adoptBlockSize();
    if (features.options)
        setOptions(features.options);
}

VstXSynthOptions PluginInstance::surroundings()
{
    VstXSynthOptions own;
    own.settings = &settings;
    own.host = this;
    own.soundbankRoot = defaultSoundbankRoot();
    own.factoryBanks = installedFactoryBanks();
    return own;
}

void PluginInstance::connectPort(std::uint32_t port, void* data) noexcept
{
    if (port < NumPorts)
        ports[port] = data;
}

void PluginInstance::activate()
{
    if (!hasRun)
        return;    // a new one is silent
    synth.close(); // releases all keys
    synth.resetVoicesAndEffects();
}

// --- Options --------------------------------------------------------------------------------

/// The place of an option, with its type; nullptr if it is none of ours.
const void* PluginInstance::findOption(LV2_URID key, LV2_URID& type) const noexcept
{
    type = key == urids.sampleRate ? urids.floatType : urids.intType;
    if (key == urids.sampleRate)
        return &options.rate;
    if (key == urids.maxBlock)
        return &options.maxBlock;
    return key == urids.nominalBlock ? &options.nominalBlock : nullptr;
}

std::uint32_t PluginInstance::getOptions(LV2_Options_Option* wanted) const noexcept
{
    std::uint32_t status = LV2_OPTIONS_SUCCESS;
    for (; wanted->key; ++wanted) {
        wanted->value = findOption(wanted->key, wanted->type);
        wanted->size = wanted->value ? 4 : 0;
        if (!wanted->value)
            status |= LV2_OPTIONS_ERR_BAD_KEY;
    }
    return status;
}

std::uint32_t PluginInstance::setOptions(const LV2_Options_Option* given)
{
    const float rateBefore = options.rate;
    std::uint32_t status = LV2_OPTIONS_SUCCESS;
    for (; given->key; ++given) {
        LV2_URID type = 0;
        void* const own = const_cast<void*>(findOption(given->key, type));
        if (!own)
            continue; // hosts pass all that they have
        if (given->type != type || given->size != 4 || !given->value)
            status |= LV2_OPTIONS_ERR_BAD_VALUE;
        else
            std::memcpy(own, given->value, 4);
    }
    if (options.rate != rateBefore)
        synth.setSampleRate(options.rate);
    adoptBlockSize();
    return status;
}

/// A longer block than the host has told comes in slices of this size.
void PluginInstance::adoptBlockSize()
{
    const std::int32_t told = options.maxBlock > 0 ? options.maxBlock : options.nominalBlock;
    const int size = told > 0 ? told : AudioEffect::kStartBlockSize;
    if (size != synth.blockSize())
        synth.setBlockSize(size);
}

// --- Sound ----------------------------------------------------------------------------------

void PluginInstance::run(std::uint32_t frames) noexcept
{
    if (!portsInUse.test_and_set()) { // else they stand as they did for one more block
        takeControls();
        hasRun = true;
        portsInUse.clear();
    }
    const auto most = static_cast<std::uint32_t>(synth.blockSize());
    std::uint32_t from = 0;
    do { // events of an empty block wait for the next one
        const std::uint32_t count = std::min(frames - from, most);
        tempo = nextTempo;
        takeEvents(from, from + count, frames);
        scheduleWork(); // may load the patch at once, in a host that is in no hurry
        float* outputs[] = {audioOut(LeftOut, from), audioOut(RightOut, from)};
        if (count > 0)
            synth.processReplacing(nullptr, outputs, static_cast<int>(count));
        from += count;
    } while (from < frames);

    if (auto* const latency = static_cast<float*>(ports[LatencyOut]))
        *latency = static_cast<float>(VstXSynth::kIdentity.initialDelay);
    giveNotice();
}

float* PluginInstance::audioOut(Port port, std::uint32_t from) noexcept
{
    auto* const buffer = static_cast<float*>(ports[port]);
    return buffer ? buffer + from : nullptr;
}

void PluginInstance::takeControls() noexcept
{
    for (int i = 0; i < kNumHostParameters; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const auto* const port = static_cast<const float*>(ports[FirstControl + at]);
        const float before = seen[at];
        if (!port || *port == before || !std::isfinite(*port))
            continue;
        seen[at] = *port;
        const PortScale& scale = portScale(i);
        const float value = scale.toNormalised(*port);
        const float expected = restored[at];
        restored[at] = kNothing;
        // The third: a host that shows a new patch at its ports must not round the patch.
        const bool stays =
            samePlace(value, scale.toNormalised(before)) ||
            (!std::isnan(expected) && samePlace(value, scale.toNormalised(expected))) ||
            samePlace(value, synth.getParameter(i));
        if (!stays)
            synth.setParameter(i, value);
    }
}

/// The events of frames from..to-1 of a block; those beyond its ends belong to the nearest frame.
void PluginInstance::takeEvents(std::uint32_t from, std::uint32_t to, std::uint32_t last) noexcept
{
    const auto* const sequence = static_cast<const LV2_Atom_Sequence*>(ports[EventsIn]);
    const bool readable = sequence && sequence->atom.type == urids.sequence &&
                          sequence->atom.size >= sizeof(LV2_Atom_Sequence_Body) &&
                          sequence->body.unit != urids.beatTime;
    if (readable) {
        forEachEvent(*sequence, [&](const LV2_Atom_Event& event) {
            const std::int64_t lastFrame = last > 0 ? last - 1 : 0;
            const std::int64_t frame = std::clamp<std::int64_t>(event.time.frames, 0, lastFrame);
            if (frame < from || (frame >= to && last > 0))
                return;
            if (event.body.type == urids.midiEvent)
                takeMidi(event.body, static_cast<int>(frame - from));
            else if (const double found = tempoIn(event.body); found > 0.0) {
                nextTempo = found;
                if (frame == from)
                    tempo = found;
            }
        });
    }
    messages.send();
}

void PluginInstance::takeMidi(const LV2_Atom& event, int offset) noexcept
{
    const auto* const data = reinterpret_cast<const std::uint8_t*>(&event + 1);
    const std::uint32_t length = event.size > 0 ? midiLength(data[0]) : 0;
    if (length == 0 || event.size < length)
        return;
    messages.add(offset, {data[0], data[1], length > 2 ? data[2] : std::uint8_t{0}});
}

/// Beats per minute of a position of the transport, 0 in all else.
double PluginInstance::tempoIn(const LV2_Atom& event) const noexcept
{
    const bool isObject = (event.type == urids.object || event.type == urids.blank) &&
                          event.size >= sizeof(LV2_Atom_Object_Body);
    const auto& object = reinterpret_cast<const LV2_Atom_Object&>(event);
    if (!isObject || object.body.otype != urids.position)
        return 0.0;
    double found = 0.0;
    forEachProperty(object, [&](LV2_URID key, const LV2_Atom& value) {
        if (key != urids.beatsPerMinute)
            return;
        if (value.type == urids.floatType)
            found = numberIn<float>(value);
        else if (value.type == urids.doubleType)
            found = numberIn<double>(value);
        else if (value.type == urids.intType)
            found = numberIn<std::int32_t>(value);
        else if (value.type == urids.longType)
            found = static_cast<double>(numberIn<std::int64_t>(value));
    });
    return found;
}

/// Tells the host that the state is another one than it knows, if there is room for that.
void PluginInstance::giveNotice() noexcept
{
    struct Notice {
        LV2_Atom_Sequence sequence;
        LV2_Atom_Event event;
        LV2_Atom_Object_Body object;
    };
    auto* const port = static_cast<LV2_Atom_Sequence*>(ports[NotifyOut]);
    if (!port)
        return;
    const std::uint32_t room = port->atom.size; // of the body, as the host has written it
    if (room < sizeof port->body)
        return;
    const LV2_Atom_Sequence empty{{sizeof port->body, urids.sequence}, {0, 0}};
    if (room < sizeof(Notice) || !stateChanged.exchange(false)) {
        *port = empty;
        return;
    }
    auto& notice = *reinterpret_cast<Notice*>(port);
    notice = {empty, {{0}, {sizeof notice.object, urids.object}}, {0, urids.stateChanged}};
    notice.sequence.atom.size = sizeof notice - sizeof notice.sequence.atom;
}

// --- Patches --------------------------------------------------------------------------------

void PluginInstance::scheduleWork() noexcept
{
    if (!worker || !synth.hasRequests() || workScheduled.exchange(true))
        return;
    const std::uint32_t nothing = 0; // some hosts stumble over a message without bytes
    if (worker->schedule_work(worker->handle, sizeof nothing, &nothing) != LV2_WORKER_SUCCESS)
        workScheduled = false; // again with the next slice
}

LV2_Worker_Status PluginInstance::work()
{
    workScheduled = false;
    // If the host reads or writes the state just now, the request waits for the next slice.
    if (const std::unique_lock use(patchUse, std::try_to_lock); use)
        synth.serviceRequests();
    return LV2_WORKER_SUCCESS;
}

LV2_State_Status PluginInstance::save(LV2_State_Store_Function store, LV2_State_Handle handle)
{
    const std::scoped_lock use(patchUse);
    const auto keep = [&](LV2_URID key, const void* bytes, std::size_t size) {
        return store(handle, key, bytes, size, urids.chunk,
                     LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE);
    };
    std::array<std::uint8_t, kPortsBytes> portBytes{};
    ByteWriter writer(portBytes);
    for (const Shared<float>& value : seen)
        writer.littleEndianFloat(value);
    if (const auto status = keep(urids.ports, portBytes.data(), portBytes.size());
        status != LV2_STATE_SUCCESS)
        return status;

    void* chunk = nullptr;
    const int size = synth.getChunk(&chunk, true);
    return keep(urids.patch, chunk, static_cast<std::size_t>(size));
}

LV2_State_Status PluginInstance::restore(LV2_State_Retrieve_Function retrieve,
                                         LV2_State_Handle handle)
{
    struct Found {
        std::span<const std::uint8_t> bytes;
        LV2_State_Status status = LV2_STATE_SUCCESS;
    };
    const auto find = [&](LV2_URID key) -> Found {
        std::size_t size = 0;
        std::uint32_t type = 0;
        std::uint32_t flags = 0;
        const auto* const bytes =
            static_cast<const std::uint8_t*>(retrieve(handle, key, &size, &type, &flags));
        if (!bytes || size == 0)
            return {{}, LV2_STATE_ERR_NO_PROPERTY};
        if (type != urids.chunk)
            return {{}, LV2_STATE_ERR_BAD_TYPE};
        return {{bytes, std::min(size, kMostChunkBytes)}};
    };

    const std::scoped_lock use(patchUse);
    const Found patch = find(urids.patch);
    if (patch.bytes.empty())
        return patch.status;
    // Ports first: those that come with the state may already be there for the next block.
    if (const Found values = find(urids.ports); values.bytes.size() == kPortsBytes)
        expectPorts(values.bytes);
    synth.setChunk(patch.bytes.data(), static_cast<int>(patch.bytes.size()), true);
    stateChanged = false; // the host knows
    return LV2_STATE_SUCCESS;
}

/// The values that the ports had with the state to be restored, and that the host will show there
/// if it does not already. All or none of them meet the first block.
void PluginInstance::expectPorts(std::span<const std::uint8_t> bytes) noexcept
{
    while (portsInUse.test_and_set())
        std::this_thread::yield(); // for as long as 75 ports take
    for (std::size_t i = 0; i < seen.size(); ++i) {
        const float value = littleEndianFloat(bytes, i * sizeof(float));
        restored[i] = value;
        if (!hasRun && std::isfinite(value))
            seen[i] = value; // nothing else has ever stood there
    }
    portsInUse.clear();
}

} // namespace zephra::lv2
