#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cmd {

/// The arguments of a typed command. A blank ends an argument unless it is quoted; each of `"`, `{` and `}`
/// starts or ends quoting, whichever came before, and is itself dropped, so that `{t1 t2}` and `"t1 t2"` are
/// the same argument. Every argument is trimmed, and an empty one is dropped. A quote left open reaches to
/// the end.
std::vector<std::string> Tokenise(std::string_view text);

}  // namespace cmd
