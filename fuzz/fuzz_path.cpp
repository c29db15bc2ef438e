// Path construction, parts and appends on any text, in every notation
// (POSIX, "C:\\dir", "\\\\srv\\share", "file://host/dir"); construction and
// Init give exactly what the step-by-step model gives. The input is two
// texts split at the first zero byte: the path, and a text to append to it.
// Bytes are code units 1 to 255; a byte 0x01 followed by two more gives one
// code unit above 255.
#include <cstddef>
#include <cstdint>

#include "FuzzCheck.h"
#include "file/Path.h"
#include "file/PathModel.h"

namespace {

using Tevrol::Long;
using Tevrol::File::Path;

bool IsBlank(TxChar unit) {
  return unit == TxChar(' ') || (unit >= TxChar('\t') && TxChar('\r') >= unit);
}

TxString Decode(std::uint8_t const* data, std::size_t size) {
  TxString text;
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] == 0x01 && i + 2 < size) {
      std::uint16_t const unit = static_cast<std::uint16_t>(data[i + 1] << 8 | data[i + 2]);
      i += 2;
      if (unit != 0) text.Append(TxChar(unit));
    } else {
      text.Append(TxChar(static_cast<char>(data[i])));
    }
  }
  return text;
}

// The text as construction sees it before the notation is split off:
// trimmed, a leading "\\\\" turned into "file://", backslashes into '/'.
TxString Prepared(TxString const& input) {
  TxString text = input.Trimmed();
  if (text.GetLength() >= 3 && text[0] == TxChar('\\') && text[1] == TxChar('\\')) {
    text = TxString("file://") + text.Mid(2, -1);
  }
  text.Replace(TxChar('\\'), TxChar('/'));
  return text;
}

void CheckParts(Path const& path) {
  Long const net = path.GetNetworkPartForTesting();
  Long const length = path.GetLength();
  Long const lastSlash = path.LastIndexOf(TxChar('/'), -1);
  bool const slashOutsideNet = lastSlash >= 0 && (net < 0 || lastSlash >= net);

  bool const absolute =
      !path.IsEmpty() && (net >= 0 || path.StartsWith(TxChar('/')) || path.Contains(TxChar(':')));
  FUZZ_CHECK(path.IsAbsolute() == absolute);

  bool const hasParent = !path.IsEmpty() && slashOutsideNet && !path.EndsWith(TxChar('/'));
  FUZZ_CHECK(path.HasParent() == hasParent);
  Path const parent = path.GetParent();
  Path copy(path);
  copy.ToParent();
  FUZZ_CHECK(copy == parent);
  FUZZ_CHECK(copy.GetNetworkPartForTesting() == net);
  if (!hasParent) {
    FUZZ_CHECK(parent.IsEmpty());
  } else {
    FUZZ_CHECK(parent.GetLength() < length);
    FUZZ_CHECK(path.Left(parent.GetLength()) == parent);
    FUZZ_CHECK(parent.GetLength() >= net);
  }

  TxString const leaf = path.GetLeaf();
  FUZZ_CHECK(leaf.GetLength() <= length);
  FUZZ_CHECK(path.Right(leaf.GetLength()) == leaf);
  if (slashOutsideNet) {
    FUZZ_CHECK(leaf == path.Mid(lastSlash + 1, -1));
  } else if (leaf != path) {
    FUZZ_CHECK(leaf.IsEmpty());
  }
}

void CheckAppend(Path const& base, TxString const& text) {
  Path const other(text);
  TxString expected = base;
  if (base.IsEmpty()) {
    expected = other;
  } else if (!other.IsEmpty() && !other.Contains(TxChar(':')) && !other.EndsWith(TxChar('/'))) {
    if (!other.StartsWith(TxChar('/')) && !base.EndsWith(TxChar('/'))) {
      expected.Append(TxChar('/'));
    }
    expected.Append(other);
  }
  Path const joined(base, other);
  FUZZ_CHECK(joined == expected);
  FUZZ_CHECK(joined.GetNetworkPartForTesting() ==
             (base.IsEmpty() ? other.GetNetworkPartForTesting() : base.GetNetworkPartForTesting()));
  Path appended(base);
  appended.Append(text);
  FUZZ_CHECK(appended == expected);
  Path divided(base);
  divided /= other;
  FUZZ_CHECK(divided == expected);
  CheckParts(joined);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::size_t split = 0;
  while (split < size && data[split] != 0) ++split;
  TxString const input = Decode(data, split);
  TxString const tail = split < size ? Decode(data + split + 1, size - split - 1) : TxString();

  Path const path(input);
  Long const net = path.GetNetworkPartForTesting();
  PathModel const model(input);
  FUZZ_CHECK(static_cast<TxString const&>(path) == model);
  FUZZ_CHECK(net == model.NetworkPart());
  // Init alone keeps backslashes and sees no network part.
  Path raw;
  raw.TxString::operator=(input);
  raw.Init();
  TxString modelRaw = input;
  PathModel::Init(modelRaw);
  FUZZ_CHECK(static_cast<TxString const&>(raw) == modelRaw);
  TxString const prepared = Prepared(input);

  // "file://srv", "file://" and "\\\\srv" name no share: no network part,
  // and the text is a local one in the local normal form, which builds the
  // same path again.
  bool const openNetworkText =
      Tevrol::File::isNetworkPath(prepared) && prepared.IndexOf(TxChar('/'), 7) < 0;
  FUZZ_CHECK(Tevrol::File::isNetworkPath(path) ==
             (Tevrol::File::isNetworkPath(prepared) && !openNetworkText));
  if (openNetworkText) {
    FUZZ_CHECK(net == -1);
    FUZZ_CHECK(!path.IsAbsolute());
    FUZZ_CHECK(path.GetLength() <= 1024);
    FUZZ_CHECK(!path.Contains(TxChar(':')) && !path.Contains(TxChar('\\')));
    FUZZ_CHECK(!path.Contains(TxString("//")) && !path.EndsWith(TxChar('/')));
    if (!path.IsEmpty()) {
      FUZZ_CHECK(!IsBlank(path[0]) && !IsBlank(path[path.GetLength() - 1]));
    }
    Path const rebuilt{TxString(path)};
    FUZZ_CHECK(rebuilt == path);
    FUZZ_CHECK(rebuilt.GetNetworkPartForTesting() == -1);
  } else {
    FUZZ_CHECK(net >= -1 && net <= path.GetLength());
    FUZZ_CHECK((net >= 0) == Tevrol::File::isNetworkPath(prepared));
    if (net >= 0) {
      FUZZ_CHECK(path.Left(net) == prepared.Left(net));
    }
    TxString const local = net >= 0 ? path.Mid(net, -1) : TxString(path);
    FUZZ_CHECK(local.GetLength() <= 1024);
    for (Long i = 0; i < local.GetLength(); ++i) {
      FUZZ_CHECK(!(local[i] == TxChar(':')) || i == 1);
    }
    FUZZ_CHECK(!path.Contains(TxChar('\\')));

    // Idempotence and the rest of the normal form, for input that loses no
    // ':', needs no cut and has no white space before a final '/'.
    Long beforeSlashes = prepared.GetLength();
    while (beforeSlashes > 0 && prepared[beforeSlashes - 1] == TxChar('/')) --beforeSlashes;
    bool const blankBeforeSlash = beforeSlashes > 0 && beforeSlashes < prepared.GetLength() &&
                                  IsBlank(prepared[beforeSlashes - 1]);
    if (prepared.Count(TxChar(':')) == path.Count(TxChar(':')) && prepared.GetLength() <= 1024 &&
        !blankBeforeSlash) {
      Path const again(path);
      Path const rebuilt{TxString(path)};
      FUZZ_CHECK(rebuilt == path);
      FUZZ_CHECK(rebuilt.GetNetworkPartForTesting() == net);
      FUZZ_CHECK(again == path);
      FUZZ_CHECK(!local.Contains(TxString("//")));
      // The text's ends have no white space; the local part may begin with
      // some behind a network part ("file://h/ x").
      if (!path.IsEmpty()) {
        FUZZ_CHECK(!IsBlank(path[0]) && !IsBlank(path[path.GetLength() - 1]));
      }
      if (!local.IsEmpty()) {
        bool const root =
            local == TxString("/") ||
            (local.GetLength() == 3 && local[1] == TxChar(':') && local[2] == TxChar('/'));
        FUZZ_CHECK(!local.EndsWith(TxChar('/')) || root);
      }
    }
  }

  CheckParts(path);
  CheckAppend(path, tail);
  // Only the control characters 1 to 30 are refused; '<', '>', '|' and '"'
  // pass, as every other character does.
  TxString copy = input;
  bool accepted = true;
  for (Long i = 0; i < input.GetLength(); ++i) {
    accepted = accepted && (input[i] >= TxChar(std::uint16_t{31}) || input[i] == TxChar('\0'));
  }
  FUZZ_CHECK(Tevrol::File::CheckIllegalChars(copy) == accepted);
  FUZZ_CHECK(copy == input);
  return 0;
}
