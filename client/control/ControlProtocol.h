// The lines that go over the control socket: one JSON object each.
//
//   request  {"version":1,"op":"status", ...arguments}
//   success  {"version":1,"ok":true,"result":{...}}
//   failure  {"version":1,"ok":false,"error":{"code":6,"name":"not-permitted","message":"..."}}
//
// Lines are strict JSON in UTF-8: no key twice, no zero byte, neither plain nor escaped, no byte order mark, at most
// kMaxJsonDepth objects and arrays inside each other, nothing behind the object.
#ifndef ZEF_CLIENT_CONTROL_CONTROL_PROTOCOL_H
#define ZEF_CLIENT_CONTROL_CONTROL_PROTOCOL_H

#include "control/ControlError.h"

#include <nlohmann/json_fwd.hpp>

#include <string>

#include <cstddef>

namespace zef {

using JsonValue = nlohmann::json;

constexpr int kControlVersion = 1;
constexpr size_t kMaxJsonDepth = 32;
// Longer than any answer there is; keeps what the other side can make us allocate bounded.
constexpr size_t kMaxAnswerBytes = 16 * 1024 * 1024;

// The functions below take and give lines without their newline. They throw ControlError; its message tells a place in
// the line but quotes nothing of it, since there may be secrets in it.

// An object of the right version with an operation. Throws with ExitCode::Usage.
JsonValue ParseRequest(const std::string &line);

// Bytes of a handler's result that are no UTF-8 become replacement characters. A result that would be longer than
// kMaxAnswerBytes becomes a failure.
std::string SuccessLine(const JsonValue &result);

std::string FailureLine(const ControlError &error);

// The result in a success. Throws the error in a failure, and ExitCode::Failed for what is neither.
JsonValue ParseAnswer(const std::string &line);

}  // namespace zef

#endif
