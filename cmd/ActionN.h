#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "Action.h"
#include "Parser.h"

/// Actions from callables: arity and parameter types come from the callable's one call operator. A callable
/// whose first parameter is a `std::shared_ptr<ClientConnection>` is given the client that typed the command
/// there; the other parameters are the command's arguments. It returns the reply as a string, or nothing.
namespace cmd::action {

/// Sorts the parameters of a call into the context, when there is one, and the arguments.
template <typename... Parameters>
struct SplitParameters {
    using Context = std::nullptr_t;
    using Arguments = std::tuple<Parameters...>;
};

template <typename... Parameters>
struct SplitParameters<std::shared_ptr<ClientConnection>, Parameters...> {
    using Context = std::shared_ptr<ClientConnection>;
    using Arguments = std::tuple<Parameters...>;
};

/// What a callable takes and returns. Parameters stand without reference and const.
template <typename Callable>
struct ActionTraits : ActionTraits<decltype(&Callable::operator())> {};

template <typename Class, typename Reply, typename... Parameters>
struct ActionTraits<Reply (Class::*)(Parameters...)> : SplitParameters<std::decay_t<Parameters>...> {
    using Result = Reply;
};

template <typename Class, typename Reply, typename... Parameters>
struct ActionTraits<Reply (Class::*)(Parameters...) const> : ActionTraits<Reply (Class::*)(Parameters...)> {};

/// An action on a callable. `Context` is the null pointer type for a callable that ignores the connection.
template <typename Context, typename Callable>
class ActionN : public Action {
  public:
    ActionN(std::string_view name, Callable callable, std::string_view description)
        : Action(name, Usage(Indices{}), description), mCallable(std::move(callable)) {}

    std::string Invoke(const std::vector<std::string>& arguments,
                       const std::shared_ptr<ClientConnection>& context) override {
        if (arguments.size() != kArity) {
            return CountError(kArity, arguments.size());
        }
        try {
            return Reply(Converted(arguments, Indices{}), context);
        } catch (const parser::BadCommandArg& refusal) {
            return refusal.what();
        }
    }

  private:
    using Arguments = typename ActionTraits<Callable>::Arguments;
    static constexpr std::size_t kArity = std::tuple_size_v<Arguments>;
    using Indices = std::make_index_sequence<kArity>;

    template <std::size_t... Index>
    static std::string Usage(std::index_sequence<Index...>) {
        return UsageText({parser::kTypeName<std::tuple_element_t<Index, Arguments>>...});
    }

    /// Braces, since they alone convert from left to right: the first bad word is the one that is reported.
    template <std::size_t... Index>
    static Arguments Converted([[maybe_unused]] const std::vector<std::string>& words,
                               std::index_sequence<Index...>) {
        return Arguments{parser::Argument<std::tuple_element_t<Index, Arguments>>(words, Index)...};
    }

    std::string Reply(Arguments arguments, const std::shared_ptr<ClientConnection>& context) {
        const auto call = [&](auto&&... values) {
            if constexpr (std::is_null_pointer_v<Context>) {
                return mCallable(std::forward<decltype(values)>(values)...);
            } else {
                return mCallable(context, std::forward<decltype(values)>(values)...);
            }
        };
        if constexpr (std::is_void_v<typename ActionTraits<Callable>::Result>) {
            std::apply(call, std::move(arguments));
            return {};
        } else {
            return std::apply(call, std::move(arguments));
        }
    }

    Callable mCallable;
};

/// An action of this name that calls `callable`. See Action for `description`.
template <typename Callable>
std::shared_ptr<Action> MakeAction(std::string_view name, Callable callable, std::string_view description) {
    using Context = typename ActionTraits<Callable>::Context;
    return std::make_shared<ActionN<Context, Callable>>(name, std::move(callable), description);
}

}  // namespace cmd::action
