// Passes transfers to the model, and reports what they change.
#include "sim/decode/display_decoder.h"

#include "sim/decode/count_text.h"
#include "sim/decode/display_commands.h"
#include "sim/decode/time_text.h"

#include <utility>

namespace sim {

namespace {

constexpr std::size_t frameBytes = 10240;

/// After these commands, the effect of the following bytes is known.
bool isUnambiguous(std::uint8_t code)
{
    return code == DisplayCommand::extension1 || code == DisplayCommand::extension2 ||
           code == DisplayCommand::writeMemory;
}

void send(St75256& model, bool isData, std::span<const std::uint8_t> bytes)
{
    model.setDataCommandLine(isData);
    model.beginTransfer();
    model.endTransfer(bytes);
}

void initialise(St75256& model)
{
    model.setResetLine(false);
    model.setResetLine(true);
    for (const BringUpStep& step : initialisationSteps()) {
        send(model, step.isData, {&step.byte, 1});
    }
    constexpr std::uint8_t start[] = {DisplayCommand::writeMemory};
    constexpr std::uint8_t on[] = {DisplayCommand::displayOn};
    send(model, false, start);
    send(model, true, std::vector<std::uint8_t>(frameBytes));
    send(model, false, on);
}

} // namespace

DisplayDecoder::DisplayDecoder(Setup channels, DecodeListener& decodeListener)
    : setup(channels), listener(decodeListener), log(decodeListener)
{
    powerOn();
}

void DisplayDecoder::powerOn()
{
    model.emplace(violations);
    page = 1;
    wasReset = false;
    isAssumed = false;
    isDropping = false;
    isFrameOpen = false;
    lastFrameBegin.reset();
    lastScreen.reset();
}

void DisplayDecoder::setReset(CaptureTime time, Level level)
{
    constexpr const char* names[] = {"low", "high", "not driven"};
    const std::optional<Level> before = std::exchange(reset, level);
    check.takeReset(time, level);
    log.flush();
    listener.event(time, std::string("reset ") + (before ? "" : "is ") + names[static_cast<std::size_t>(level)]);
    if (level == Level::Undefined) {
        mayBeInitialised = false;
        if (before) {
            note(time, "the power is switched off: the reset line is not driven any more");
            powerOn();
        }
        return;
    }
    if (level == Level::Low) {
        powerOn();
        wasReset = true;
        model->setDataCommandLine(dataCommand == Level::High);
    }
    model->setResetLine(level == Level::High);
}

void DisplayDecoder::setDataCommand(CaptureTime time, Level level)
{
    dataCommand = level;
    if (level != Level::Undefined) {
        model->setDataCommandLine(level == Level::High);
        reportModelViolations(time);
    }
}

void DisplayDecoder::transferBegins(CaptureTime time)
{
    isTransferBad = false;
    if (!isDecodable()) {
        return;
    }
    if (!wasReset && !isAssumed && mayBeInitialised) {
        assumeInitialisation(time);
    }
    model->beginTransfer();
    reportModelViolations(time);
}

void DisplayDecoder::assumeInitialisation(CaptureTime time)
{
    initialise(*model);
    (void)violations.take();
    model->setDataCommandLine(dataCommand == Level::High);
    wasLit = true;
    lastRegisters = model->registers();
    isAssumed = true;
    isDropping = true;
    dropped = 0;
    note(time, "the capture does not contain the reset of the display, which is assumed to be initialised");
}

void DisplayDecoder::transferEnds(const SpiTransfer& transfer)
{
    if (transfer.byteCount == 0 && transfer.spareBits == 0) {
        takeEmpty(transfer);
        return;
    }
    busTiming.add(transfer);
    checkSignals(transfer);
    if (!isDecodable()) {
        listener.event(transfer.begin, "transfer: " + (setup.hasData ? hexBytes(transfer.bytes)
                                                                     : countText(transfer.byteCount, "byte")));
    } else if (drops(transfer)) {
        ++dropped;
        model->endTransfer({});
        return;
    } else {
        take(transfer);
    }
    if (isTransferBad) {
        ++bad;
    } else {
        ++good;
        bytes += transfer.byteCount;
    }
}

/// Handles a pulse of chip select without clock edges.
void DisplayDecoder::takeEmpty(const SpiTransfer& transfer)
{
    note(transfer.begin, "a transfer without clock edges");
    ++bad;
    if (isDecodable()) {
        model->endTransfer({});
        reportModelViolations(transfer.end);
    }
}

void DisplayDecoder::checkSignals(const SpiTransfer& transfer)
{
    if (transfer.spareBits > 0) {
        reportViolation(transfer.end, "a transfer of " + countText(transfer.byteCount, "byte") + " and " +
                                          countText(transfer.spareBits, "bit"));
    }
    if (transfer.byteCount > transfer.bytes.size()) {
        reportViolation(transfer.end, "a transfer of " + countText(transfer.byteCount, "byte") + ", of which " +
                                          std::to_string(transfer.bytes.size()) + " are decoded");
    }
    if (transfer.samplesLeadingEdge && !std::exchange(isLeadingEdgeSampled, true)) {
        log.flush();
        listener.violation(transfer.begin, "the clock idles low: SPI mode 0 instead of mode 3");
    }
}

bool DisplayDecoder::drops(const SpiTransfer& transfer)
{
    if (!isDropping) {
        return false;
    }
    const bool isCommand = dataCommand != Level::High && transfer.bytes.size() == 1 && transfer.spareBits == 0;
    if (!isCommand || !isUnambiguous(transfer.bytes.front())) {
        return true;
    }
    isDropping = false;
    if (dropped > 0) {
        note(transfer.begin,
             "ignored: " + countText(dropped, "transfer") + " before the first extension command or memory write");
    }
    return false;
}

void DisplayDecoder::take(const SpiTransfer& transfer)
{
    const bool isData = dataCommand == Level::High;
    const std::uint64_t framesBefore = model->frameCount();
    check.takeTransfer(transfer.begin, transfer.end, isData, transfer.bytes, page);
    if (isData) {
        log.takeData(transfer.begin, transfer.end, transfer.bytes);
    } else {
        takeCommands(transfer);
    }
    model->endTransfer(transfer.bytes);
    reportModelViolations(transfer.end);
    if (isData) {
        measureFrame(transfer, framesBefore);
    }
    if (model->frameCount() != framesBefore || model->isLit() != wasLit || model->registers() != lastRegisters) {
        showScreen(transfer.end);
    }
}

void DisplayDecoder::takeCommands(const SpiTransfer& transfer)
{
    for (const std::uint8_t code : transfer.bytes) {
        log.takeCommand(transfer.begin, code, page);
        if (code == DisplayCommand::extension1 || code == DisplayCommand::extension2) {
            page = code == DisplayCommand::extension1 ? 1 : 2;
        }
        isFrameOpen = code == DisplayCommand::writeMemory;
        frameBegin.reset();
    }
}

void DisplayDecoder::measureFrame(const SpiTransfer& transfer, std::uint64_t framesBefore)
{
    if (!isFrameOpen) {
        return;
    }
    frameBegin = frameBegin.value_or(transfer.begin);
    if (model->frameCount() == framesBefore) {
        return;
    }
    isFrameOpen = false;
    if (!model->isLit()) {
        return;
    }
    frameTimes.add(transfer.end - *frameBegin);
    if (lastFrameBegin) {
        redrawPeriods.add(*frameBegin - *lastFrameBegin);
    }
    lastFrameBegin = frameBegin;
}

void DisplayDecoder::showScreen(CaptureTime time)
{
    wasLit = model->isLit();
    lastRegisters = model->registers();
    if (!wasLit) {
        return;
    }
    const Screen screen = model->screen();
    if (lastScreen != screen) {
        lastScreen = screen;
        log.flush();
        listener.screen(time, screen);
    }
}

void DisplayDecoder::transferIsCutOff(CaptureTime time, std::uint64_t byteCount, CutOff reason)
{
    note(time, std::string(textOf(reason)) + " within a transfer, which is ignored: " + countText(byteCount, "byte"));
}

void DisplayDecoder::reportModelViolations(CaptureTime time)
{
    for (const std::string& text : violations.take()) {
        reportViolation(time, text);
    }
}

void DisplayDecoder::reportViolation(CaptureTime time, const std::string& text)
{
    isTransferBad = true;
    log.flush();
    listener.violation(time, text);
}

void DisplayDecoder::note(CaptureTime time, const std::string& text)
{
    log.flush();
    listener.note(time, text);
}

} // namespace sim
