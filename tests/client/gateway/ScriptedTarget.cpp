#include "ScriptedTarget.h"

#include <algorithm>
#include <utility>

#include <sys/socket.h>

namespace zef {

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kHeaderSize = 48;
constexpr uint8_t kFinal = 0x80;

void PutBig(Bytes &bytes, size_t at, uint32_t value)
{
    for (size_t i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
    }
}

uint32_t GetBig(const Bytes &bytes, size_t at)
{
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i) {
        value = value << 8 | bytes[at + i];
    }
    return value;
}

bool ReadAll(int connection, Bytes &bytes, size_t size)
{
    bytes.assign(size, 0);
    return size == 0 || recv(connection, bytes.data(), size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

void Append(Bytes &header, const Bytes &data)
{
    header[5] = static_cast<uint8_t>(data.size() >> 16);
    header[6] = static_cast<uint8_t>(data.size() >> 8);
    header[7] = static_cast<uint8_t>(data.size());
    header.insert(header.end(), data.begin(), data.end());
    header.resize((header.size() + 3) / 4 * 4);
}

Bytes Text(const std::string &text)
{
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

ScriptedTarget::Reply Sense(uint8_t key, uint8_t code)
{
    Bytes sense(18, 0);
    sense[0] = 0x70;
    sense[2] = key;
    sense[7] = 10;
    sense[12] = code;
    return {2, sense, 0};
}

}  // namespace

ScriptedTarget::ScriptedTarget(const std::string &address, Script wanted)
    : script(std::move(wanted)), portal(address, [this](int connection) { Serve(connection); })
{
}

void ScriptedTarget::RedirectTo(const std::string &address)
{
    const std::lock_guard<std::mutex> lock(mutex);
    redirection = address;
}

ScriptedTarget::Reply ScriptedTarget::UnitAttention()
{
    return Sense(6, 0x29);
}

ScriptedTarget::Reply ScriptedTarget::IllegalRequest()
{
    return Sense(5, 0x24);
}

ScriptedTarget::Reply ScriptedTarget::Busy()
{
    return {8, {}, 0};
}

ScriptedTarget::Reply ScriptedTarget::Page(const std::vector<uint8_t> &name)
{
    const auto size = static_cast<uint8_t>(name.size());
    Bytes page{0, 0x83, 0, static_cast<uint8_t>(size + 4), 1, 3, 0, size};
    page.insert(page.end(), name.begin(), name.end());
    return {0, page, 0};
}

ScriptedTarget::Reply ScriptedTarget::Luns(const std::vector<int> &luns)
{
    Bytes answer(8, 0);
    for (const int lun : luns) {
        const Bytes entry{static_cast<uint8_t>(lun >> 8), static_cast<uint8_t>(lun), 0, 0, 0, 0, 0, 0};
        answer.insert(answer.end(), entry.begin(), entry.end());
    }
    PutBig(answer, 0, static_cast<uint32_t>(answer.size() - 8));
    return {0, answer, 0};
}

void ScriptedTarget::Serve(int connection)
{
    Bytes header;
    Bytes data;
    while (ReadAll(connection, header, kHeaderSize)) {
        const size_t size = static_cast<size_t>(header[5]) << 16 | static_cast<size_t>(header[6]) << 8 | header[7];
        if (!ReadAll(connection, data, (size + 3) / 4 * 4) || !Answer(connection, header)) {
            return;
        }
    }
}

bool ScriptedTarget::Answer(int connection, const Bytes &header)
{
    Bytes answer;
    switch (header[0] & 0x3F) {
    case 0x00:
        answer = Header(0x20, kFinal, header);
        break;
    case 0x01:
        answer = CommandAnswer(header);
        break;
    case 0x03:
        answer = LoginAnswer(header);
        break;
    case 0x06:
        answer = Header(0x26, kFinal, header);
        break;
    default:
        return false;
    }
    return send(connection, answer.data(), answer.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(answer.size());
}

// Goes through the stages as the client proposes, without authentication.
ScriptedTarget::Bytes ScriptedTarget::LoginAnswer(const Bytes &header)
{
    const bool isSecurity = (header[1] >> 2 & 3) == 0;
    Bytes answer = Header(0x23, header[1] & 0x8F, header);
    std::copy(header.begin() + 8, header.begin() + 14, answer.begin() + 8);
    answer[15] = 1;
    const std::lock_guard<std::mutex> lock(mutex);
    if (!redirection.empty()) {
        answer[36] = 1;
        answer[37] = 1;
        Append(answer, Text("TargetAddress=" + redirection));
    } else {
        Append(answer, Text(isSecurity ? "AuthMethod=None" : "HeaderDigest=None"));
    }
    return answer;
}

ScriptedTarget::Bytes ScriptedTarget::CommandAnswer(const Bytes &header)
{
    const Reply reply = script(header[8] << 8 | header[9], header.data() + 32);
    const bool hasData = reply.status == 0 && !reply.data.empty();
    Bytes answer = Header(hasData ? 0x25 : 0x21, hasData ? kFinal | 1 : kFinal, header);
    answer[0] = reply.opcode == 0 ? answer[0] : reply.opcode;
    answer[3] = reply.status;
    Bytes data = reply.data;
    if (hasData) {
        const uint32_t expected = GetBig(header, 20);
        PutBig(answer, 20, 0xFFFFFFFF);
        if (data.size() < expected) {
            answer[1] |= 2;  // underflow
            PutBig(answer, 44, expected - static_cast<uint32_t>(data.size()));
        }
    } else if (!data.empty()) {
        const auto size = static_cast<uint8_t>(data.size());
        data.insert(data.begin(), {0, size});
    }
    Append(answer, data);
    return answer;
}

ScriptedTarget::Bytes ScriptedTarget::Header(uint8_t opcode, uint8_t flags, const Bytes &request)
{
    Bytes answer(kHeaderSize, 0);
    answer[0] = opcode;
    answer[1] = flags;
    std::copy(request.begin() + 16, request.begin() + 20, answer.begin() + 16);
    const bool isImmediate = (request[0] & 0x40) != 0;
    const uint32_t command = GetBig(request, 24);
    PutBig(answer, 24, statusNumber++);
    PutBig(answer, 28, isImmediate ? command : command + 1);
    PutBig(answer, 32, command + 32);
    return answer;
}

}  // namespace zef
