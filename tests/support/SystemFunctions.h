// The functions of the system and of the product's support library that fault injection knows: how each fails, and what
// it opens or closes.
#pragma once

// How a function fails.
enum class Fails { Never, WithFalse, WithNull, WithCode, WithInvalidHandle };

// What makes two calls of a function the same question, one character for each argument: 'h' the opening of a handle,
// '=' a number, 'w' and 'a' a text, '?' whether there is a pointer, '+' flags, of which CRYPT_FIRST begins a listing:
// what is asked without it from then on is the next entry. '.' and arguments beyond the last don't count.
using Question = const char*;
constexpr Question kNoQuestion = nullptr;  // the function asks for nothing, or for something else each time
constexpr Question kChanges = "";          // what was asked before may have another answer from now on

// Where a handle is: an argument's number from 0, or one of these.
constexpr int kNowhere = -1, kResult = -2;
constexpr int kFirstArgument = -3;  // itself, for one more reference; otherwise the argument points to the handle

struct SystemFunction {
    Question question = kNoQuestion;
    Fails fails = Fails::Never;
    DWORD error = 0;
    const char* closer = "";  // the function that closes what this one opens or closes
    int opens = kNowhere;
    int closes = kNowhere;  // before the function does its work, whether it then fails or not
    const char* name = "";
};

const std::vector<SystemFunction>& SystemFunctions();
