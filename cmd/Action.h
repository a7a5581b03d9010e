#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace cmd {

class ClientConnection;

namespace action {

/// A command of the shell: its name, its help texts and what it does. MakeAction (ActionN.h) makes one from a
/// callable. Held by the node that it was added to; called on the event loop.
class Action {
  public:
    /// `params` is the usage text of the parameters. The first sentence of `description`, up to a full stop
    /// or a line end, is the brief; what follows it is the detail.
    Action(std::string_view name, std::string params, std::string_view description);
    virtual ~Action() = default;
    Action(const Action&) = delete;
    Action& operator=(const Action&) = delete;

    /// Converts the words, does the command and returns the reply, empty for none. Words that don't fit in
    /// number or type are answered and the command isn't called. What the command itself throws passes on,
    /// but for BadCommandArg. `context` is the client that typed the command.
    virtual std::string Invoke(const std::vector<std::string>& arguments,
                               const std::shared_ptr<ClientConnection>& context) = 0;

    const std::string& Name() const { return mName; }
    const std::string& Params() const { return mParams; }
    const std::string& Brief() const { return mBrief; }  ///< one line, for `help`
    const std::string& Help() const { return mHelp; }    ///< everything, for `--help`

  protected:
    /// The reply to a wrong number of arguments.
    std::string CountError(std::size_t arity, std::size_t given) const;

  private:
    const std::string mName;
    const std::string mParams;
    std::string mBrief;
    std::string mHelp;
};

/// The usage text of parameters of these types: each name in single quotes, one blank between.
std::string UsageText(std::initializer_list<const char*> typeNames);

}  // namespace action
}  // namespace cmd
