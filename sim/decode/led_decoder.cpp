// Logs I2C messages. Writes for which the LED controller acknowledged its address also go to its model.
#include "sim/decode/led_decoder.h"

#include "sim/decode/display_commands.h"

#include <algorithm>

namespace sim {

namespace {

std::string describe(const I2cMessage& message)
{
    std::string text = "I2C " + hexByte(*message.address) + (message.isRead ? " read" : " write");
    text += message.bytes.empty() ? "" : " " + hexBytes(message.bytes);
    const bool isAcknowledged = message.isAddressAcknowledged && message.areBytesAcknowledged;
    return text + (isAcknowledged ? "" : ", not acknowledged");
}

} // namespace

void LedDecoder::messageEnds(const I2cMessage& message)
{
    if (!message.address || message.spareBits > 0) {
        reportViolation(message.end,
                        std::string("an I2C message ended within ") + (message.address ? "a byte" : "its address"));
        return;
    }
    listener.event(message.begin, describe(message));
    if (*message.address == LedController::address) {
        take(message);
    } else if (!message.isAddressAcknowledged) {
        reportViolation(message.end,
                        std::string("an I2C ") + (message.isRead ? "read from" : "write to") + " an unused address");
    }
}

void LedDecoder::take(const I2cMessage& message)
{
    if (!message.isAddressAcknowledged) {
        ++nacks;
        listener.note(message.end, "the LED controller did not acknowledge its address");
        return;
    }
    if (!message.areBytesAcknowledged) {
        ++nacks;
        listener.note(message.end, "the LED controller did not acknowledge every byte");
    } else {
        ++good;
    }
    if (message.isRead) {
        return;
    }
    const auto before = model->outputs();
    model->write(message.bytes);
    for (const std::string& text : violations.take()) {
        reportViolation(message.end, text);
    }
    if (model->outputs() != before) {
        listener.event(message.end, "LEDs: " + ledText(model->outputs()));
    }
}

void LedDecoder::messageIsCutOff(CaptureTime time, CutOff reason)
{
    listener.note(time, std::string(textOf(reason)) + " within an I2C message");
}

void LedDecoder::reportViolation(CaptureTime time, const std::string& text)
{
    ++bad;
    listener.violation(time, text);
}

std::string ledText(const std::array<std::uint8_t, LedController::outputCount>& outputs)
{
    if (std::all_of(outputs.begin(), outputs.end(), [](std::uint8_t brightness) { return brightness == 0; })) {
        return "all off";
    }
    std::string text = "RGB";
    for (const auto& channels : LedController::rgbOutputs) {
        text += " #";
        for (const std::size_t output : channels) {
            text += hexByte(outputs[output]);
        }
    }
    text += ", bar";
    for (std::size_t output = LedController::firstBarOutput; output < outputs.size(); ++output) {
        text += " " + std::to_string(outputs[output]);
    }
    return text;
}

} // namespace sim
