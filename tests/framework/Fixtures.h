#pragma once

#include <functional>
#include <string>
#include <vector>

#include "framework/Kel.h"

/// Small classes of every kind that the framework serves, and a trace sink that remembers.
namespace framework_test {

/// A counted object that tells when it dies.
class Widget : public Kel::Object<Widget, Kel::PtrInterface> {
  public:
    explicit Widget(int* destructions = nullptr) : destructions_(destructions) {}
    ~Widget() override {
        if (destructions_) {
            ++*destructions_;
        }
        if (whileDying) {
            whileDying(*this);
        }
    }

    std::function<void(Widget&)> whileDying;
    static const Kel::Type fwkType_;

  private:
    int* destructions_;
};
inline constinit const Kel::Type Widget::fwkType_{
    .name = "Test::Widget", .kind = Kel::Type::Kind::object, .base = &Kel::PtrInterface::fwkType_};

/// A widget of a class of its own.
class Gadget : public Kel::Object<Gadget, Widget> {
  public:
    using Object::Object;
    static const Kel::Type fwkType_;
};
inline constinit const Kel::Type Gadget::fwkType_{
    .name = "Test::Gadget", .kind = Kel::Type::Kind::object, .base = &Widget::fwkType_};

/// A counted object with a list of notifiees.
class Notifier : public Kel::Object<Notifier, Kel::PtrInterface> {
  public:
    explicit Notifier(int* destructions = nullptr) : destructions_(destructions) {
        hasNotificationActiveIs(true);
    }
    ~Notifier() override {
        if (destructions_) {
            ++*destructions_;
        }
    }

    Kel::NotifieeList* notifieeList() const override {
        return const_cast<Kel::NotifieeList*>(&notifiees_);
    }
    void announce(Kel::AttributeId id, const void* key = nullptr) { notifiees_.visit(id, key); }

    static const Kel::Type fwkType_;

  private:
    Kel::NotifieeList notifiees_{*this};
    int* destructions_;
};
inline constinit const Kel::Type Notifier::fwkType_{.name = "Test::Notifier",
                                                    .kind = Kel::Type::Kind::object,
                                                    .base = &Kel::PtrInterface::fwkType_};

/// An entity with nothing of its own.
class Node : public Kel::Object<Node, Kel::Entity> {
  public:
    explicit Node(const char* name) : Object(Kel::Name(name)) {}
    static const Kel::Type fwkType_;

  private:
    struct Attributes;
};
struct Node::Attributes {
    using Table = Kel::EntityAttributeTable<Node>;
};
inline constinit const Kel::Type Node::fwkType_ =
    Node::Attributes::Table::objectType("Test::Node", Kel::Entity::fwkType_);

/// Collects the trace lines of one facility while it lives, up to a level.
class TraceLog {
  public:
    explicit TraceLog(std::string facility, Kel::U8 level) : facility_(std::move(facility)) {
        Kel::traceSinkIs([this](std::string_view line) { lines.emplace_back(line); });
        Kel::traceLevelIs(facility_, level);
    }
    ~TraceLog() {
        Kel::traceLevelIs(facility_, 0);
        Kel::traceSinkIs(nullptr);
    }
    TraceLog(const TraceLog&) = delete;
    TraceLog& operator=(const TraceLog&) = delete;

    std::vector<std::string> lines;

  private:
    std::string facility_;
};

/// Runs `action` and returns the message of the `E` that it throws, or a text that no message is.
template <class E, class Action>
std::string messageOf(Action&& action) {
    try {
        action();
    } catch (const E& e) {
        return e.what();
    }
    return "(nothing was thrown)";
}

} // namespace framework_test
