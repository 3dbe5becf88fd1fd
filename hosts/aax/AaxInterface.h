// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What passes between an AAX host and the plug-in. The SDK of that format is closed and no part
/// of this project: here stand, as plain C++, the operations that the plug-in uses and no others,
/// so that a layer over the SDK has one call to make for each, and that any program can be a host.
///
/// Interfaces under "host" are implemented by the host, which owns the objects and keeps them until
/// the instances that use them are gone; those under "plug-in" by the plug-in. Threads: [audio] the
/// host's real-time thread, [ui] its data-model and window threads, of which one at a time calls;
/// [any].
namespace zephra::aax {

using AAX_Result = std::int32_t;
inline constexpr AAX_Result AAX_SUCCESS = 0;
inline constexpr AAX_Result AAX_ERROR_PARAMETER = -20002;   ///< unknown, or not a number
inline constexpr AAX_Result AAX_ERROR_NULL_OBJECT = -20004; ///< the host gave no object
inline constexpr AAX_Result AAX_ERROR_CHUNK = -20007;       ///< no chunk of this plug-in

using TypeId = std::int32_t; ///< four characters, the first in the highest byte

/// The low 16 bits are the number of channels.
using StemFormat = std::uint32_t;
inline constexpr StemFormat AAX_eStemFormat_None = 0;
inline constexpr StemFormat AAX_eStemFormat_Mono = 1;
inline constexpr StemFormat AAX_eStemFormat_Stereo = 65538;

inline constexpr std::uint32_t AAX_ePlugInCategory_SWGenerators = 2048; ///< instruments

// --- Sound: host --------------------------------------------------------------------------------

struct MidiPacket {
    std::uint32_t timestamp = 0;        ///< sample in the coming block
    std::array<std::uint8_t, 4> data{}; ///< status, two data bytes, one more that is not read
};

struct MidiStream {
    const MidiPacket* packets = nullptr; ///< [count]
    std::uint32_t count = 0;
};

/// [audio]
class AAX_ITransport {
public:
    virtual ~AAX_ITransport() = default;
    virtual bool isPlaying() noexcept = 0;
    virtual double tempo() noexcept = 0;                 ///< beats per minute
    virtual std::int64_t tickPosition() noexcept = 0;    ///< 960,000 to the quarter note
    virtual std::int32_t ticksPerQuarter() noexcept = 0; ///< 960,000
};

/// What a port for MIDI or for the transport leads to. [audio]
class AAX_IMIDINode {
public:
    virtual ~AAX_IMIDINode() = default;
    virtual MidiStream packets() noexcept = 0; ///< of the coming block
    virtual AAX_ITransport* transport() noexcept = 0;
};

/// What an instance may ask about its place. [any]
class Controller {
public:
    virtual ~Controller() = default;
    virtual double sampleRate() noexcept = 0; ///< Hz
    virtual StemFormat inputStemFormat() noexcept = 0;
};

/// One instance's block: a pointer a port, in the order of the ports. Empty ports are null.
struct RenderInfo {
    const float* const* audioInputs;   ///< 0 [channel][sample]
    float* const* audioOutputs;        ///< 1 likewise, other memory than the inputs
    const std::int32_t* bufferLength;  ///< 2 samples
    const std::int64_t* clock;         ///< 3 samples since the host's start
    AAX_IMIDINode* inputMidi;          ///< 4
    AAX_IMIDINode* globalMidi;         ///< 5
    AAX_IMIDINode* transport;          ///< 6
    AAX_IMIDINode* additionalMidi[15]; ///< 7..21
    class AAX_CMonolithicParameters* const* privateData; ///< 22, filled by ResetFieldData
    void* meters;                                        ///< 23
    void* furtherData;                                   ///< 24, zeros
};

inline constexpr std::size_t kPorts = 25;
static_assert(sizeof(RenderInfo) == kPorts * sizeof(void*));

/// [audio] Renders one block of each instance.
using ProcessProc = void (*)(RenderInfo* const* instances, int count) noexcept;

// --- Parameters and state: plug-in --------------------------------------------------------------

/// [any] A value that can be automated. Normalised values are 0..1.
class AAX_IParameter {
public:
    virtual ~AAX_IParameter() = default;
    virtual const char* identifier() const noexcept = 0;
    virtual const char* name() const noexcept = 0;
    virtual int numberOfSteps() const noexcept = 0; ///< 0: continuous
    virtual bool isAutomatable() const noexcept = 0;
    virtual double defaultNormalizedValue() const noexcept = 0;
    virtual double normalizedValue() const noexcept = 0;
    virtual bool GetValueAsBool() const noexcept = 0;
    virtual std::string text(double normalized) const = 0;
    /// Only for the plug-in; hosts use UpdateParameterNormalizedValue.
    virtual void setNormalizedValue(double normalized) noexcept = 0;
};

/// State as hosts keep it with a song: this head, then `size` bytes.
struct Chunk {
    std::int32_t size;    ///< bytes after the head
    std::int32_t version; ///< of the head
    TypeId manufacturer, product, plugIn, id;
    char name[32]; ///< zeros after the text
};
static_assert(sizeof(Chunk) == 56);

/// An instance. Deleted by the host. [ui] unless marked otherwise.
class AAX_IEffectParameters {
public:
    virtual ~AAX_IEffectParameters() = default;

    virtual AAX_Result Initialize(Controller& controller) = 0; ///< the first call
    virtual AAX_Result Uninitialize() = 0;                     ///< the last
    /// Fills a data field of a port before the first block: [size] bytes at `data`.
    virtual AAX_Result ResetFieldData(int field, void* data, std::size_t size) const = 0;
    virtual AAX_Result TimerWakeup() = 0; ///< [!audio] regularly, when there is time for files
    virtual AAX_Result GenerateCoefficients() = 0; ///< after parameters have changed

    virtual int parameterCount() const = 0;
    virtual AAX_IParameter* parameter(int index) const = 0; ///< nullptr out of range
    /// The host has a new value, from automation, a control surface or the editor; `source` tells
    /// which, in the host's own numbers.
    virtual AAX_Result UpdateParameterNormalizedValue(const char* id, double value, int source) = 0;

    virtual int GetNumberOfChunks() const = 0;
    virtual AAX_Result GetChunkIDFromIndex(int index, TypeId* id) const = 0;
    /// Bytes after the head that GetChunk will write.
    virtual AAX_Result GetChunkSize(TypeId id, std::uint32_t* size) = 0;
    /// `blockSize`: bytes at `chunk`, head included; nothing is written or read beyond.
    virtual AAX_Result GetChunk(TypeId id, Chunk* chunk, std::size_t blockSize) = 0;
    virtual AAX_Result SetChunk(TypeId id, const Chunk* chunk, std::size_t blockSize) = 0;
    virtual AAX_Result CompareActiveChunk(const Chunk* chunk, bool* equal) const = 0;
    /// Changes since the last SetChunk.
    virtual AAX_Result GetNumChunkChanges(std::int32_t* changes) const = 0;
};

// --- Description: host --------------------------------------------------------------------------

enum class FieldKind {
    Empty,
    AudioIn,
    AudioOut,
    BufferLength,
    Clock,
    LocalInputNode, ///< MIDI of the track
    GlobalNode,     ///< MIDI common to all tracks
    TransportNode,
    Data, ///< bytes of the instance, filled by ResetFieldData
};

struct Field {
    FieldKind kind = FieldKind::Empty;
    const char* name = "";  ///< of a node
    std::uint32_t mask = 0; ///< of a node: its channels or events
    std::size_t bytes = 0;  ///< of Data
};

/// Identifies one form of an instrument and says what it needs of the host.
struct InstrumentSetup {
    TypeId manufacturerId = 0;
    TypeId productId = 0;
    TypeId pluginId = 0;
    TypeId audioSuiteId = 0; ///< 0: none
    StemFormat inputStemFormat = AAX_eStemFormat_None;
    StemFormat outputStemFormat = AAX_eStemFormat_None;
    StemFormat hybridInputStemFormat = AAX_eStemFormat_None;
    StemFormat hybridOutputStemFormat = AAX_eStemFormat_None;

    bool needsGlobalMidi = false;
    const char* globalMidiNodeName = nullptr;
    std::uint32_t globalMidiEventMask = 0;
    bool needsInputMidi = false;
    const char* inputMidiNodeName = nullptr;
    std::uint32_t inputMidiChannelMask = 0;
    int additionalInputMidiNodes = 0;
    bool needsTransport = false;
    const char* transportNodeName = nullptr;

    int numMeters = 0;
    int auxiliaryOutputStems = 0;
    bool canBypass = false;
    bool useHostGeneratedGui = false;
};

/// Numbers that a host asks for by number.
class AAX_IPropertyMap {
public:
    virtual ~AAX_IPropertyMap() = default;
    virtual AAX_Result AddProperty(int property, std::int32_t value) = 0;
};

/// A form of an effect: how it is set up, what its ports hold, and what renders it.
struct ProcessType {
    InstrumentSetup setup;
    std::array<Field, kPorts> fields; ///< [port]
    ProcessProc process = nullptr;
};

/// Makes an instance; nullptr without memory. [ui]
using CreateProc = AAX_IEffectParameters* (*)() noexcept;

class AAX_IEffectDescriptor {
public:
    virtual ~AAX_IEffectDescriptor() = default;
    virtual AAX_Result AddName(const char* name) = 0; ///< the longest first
    virtual AAX_Result AddCategory(std::uint32_t category) = 0;
    virtual AAX_IPropertyMap* NewPropertyMap() = 0; ///< may be nullptr
    virtual AAX_Result AddProcess(const ProcessType& type, AAX_IPropertyMap* properties) = 0;
    virtual AAX_Result SetProperties(AAX_IPropertyMap* properties) = 0;
    /// A host shows controls of its own for an effect that brings no creator of a GUI.
    virtual AAX_Result AddDataModelCreator(CreateProc create) = 0;
};

/// All effects of a library.
class Collection {
public:
    virtual ~Collection() = default;
    virtual AAX_IEffectDescriptor* NewDescriptor() = 0; ///< may be nullptr
    virtual AAX_Result AddEffect(const char* identifier, AAX_IEffectDescriptor* descriptor) = 0;
    virtual AAX_Result SetManufacturerName(const char* name) = 0;
    virtual AAX_Result AddPackageName(const char* name) = 0;
    virtual AAX_Result SetPackageVersion(std::uint32_t version) = 0;
};

/// [any]
class HostServices {
public:
    virtual ~HostServices() = default;
    /// Something that cannot be wrong is wrong; the plug-in goes on as it can.
    virtual void assertionFailed(const char* source, int line, const char* expression) = 0;
};

} // namespace zephra::aax
