#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/framework/Fixtures.h"

namespace {

using framework_test::messageOf;
using framework_test::Node;
using testing::ElementsAre;
using testing::IsEmpty;

/// Reads an attribute through the generic operation alone, as a tool would.
template <class T>
int read(const Kel::Entity& entity, Kel::AttributeId id, T& result, const void* key = nullptr) {
    const Kel::Type* type = entity.fwkType();
    const void* arguments[] = {key};
    return type->genericIf(const_cast<Kel::Entity*>(&entity), &result, type->attribute(id),
                           Kel::Operation::read, arguments);
}

std::vector<std::string> childrenOf(const Kel::Entity& entity) {
    std::vector<std::string> names;
    for (Kel::Entity* child : entity.entity()) {
        names.emplace_back(child->component().charPtr());
    }
    return names;
}

class EntityTree : public testing::Test {
  protected:
    Node::Ptr root_ = new Node("lagGroup");
    Node::Ptr group_ = new Node("10");
    Node::Ptr member_ = new Node("3");

    void makeTree() {
        group_->handleParent(root_.ptr(), "group");
        member_->handleParent(group_.ptr(), "member");
    }
};

TEST_F(EntityTree, ARootHasItsNameAndNothingElse) {
    EXPECT_EQ(root_->name(), "lagGroup");
    EXPECT_EQ(root_->fullName(), "lagGroup");
    EXPECT_EQ(root_->component(), "lagGroup");
    EXPECT_EQ(root_->parentAttrName(), "");
    EXPECT_EQ(root_->parent(), nullptr);
    EXPECT_EQ(root_->entity().size(), 0u);
}

TEST_F(EntityTree, AKeyedChildReadsAsAttributeAndKey) {
    makeTree();
    EXPECT_EQ(member_->fullName(), "lagGroup/group[10]/member[3]");
    EXPECT_EQ(member_->component(), "member[3]");
    EXPECT_EQ(member_->parentAttrName(), "member");
    EXPECT_EQ(member_->name(), "3");
    EXPECT_EQ(member_->parent(), group_);
}

TEST_F(EntityTree, AChildOfNoParticularAttributeReadsAsItsName) {
    member_->parentIs(root_);
    EXPECT_EQ(member_->fullName(), "lagGroup/3");
    EXPECT_EQ(member_->parentAttrName(), "");
}

TEST_F(EntityTree, AParentAndItsChildDoNotKeepEachOtherAlive) {
    makeTree();
    EXPECT_EQ(root_->kelReferenceCount(), 1u);
    EXPECT_EQ(group_->kelReferenceCount(), 1u);
}

TEST_F(EntityTree, ChildrenStandInTheOrderInWhichTheyCame) {
    const Node::Ptr other = new Node("b");
    member_->parentIs(root_);
    other->parentIs(root_);
    group_->parentIs(root_);
    EXPECT_THAT(childrenOf(*root_), ElementsAre("3", "b", "10"));
    other->parentIs(nullptr);
    EXPECT_THAT(childrenOf(*root_), ElementsAre("3", "10"));
    other->parentIs(root_);
    EXPECT_THAT(childrenOf(*root_), ElementsAre("3", "10", "b"));
    EXPECT_EQ(root_->entity().size(), 3u);
    EXPECT_EQ(root_->entity().lookup("b"), other.ptr());
    EXPECT_EQ(root_->entity().lookup("c"), nullptr);
}

TEST_F(EntityTree, ANullParentDetaches) {
    makeTree();
    member_->parentIs(nullptr);
    EXPECT_EQ(member_->parent(), nullptr);
    EXPECT_EQ(member_->parentAttrName(), "");
    EXPECT_EQ(member_->fullName(), "3");
    EXPECT_THAT(childrenOf(*group_), IsEmpty());
    member_->parentIs(nullptr);
    EXPECT_EQ(member_->parent(), nullptr);
}

TEST_F(EntityTree, AnEntityMovesFromOneParentToAnother) {
    makeTree();
    member_->parentIs(root_);
    EXPECT_THAT(childrenOf(*group_), IsEmpty());
    EXPECT_THAT(childrenOf(*root_), ElementsAre("group[10]", "3"));
}

TEST_F(EntityTree, SettingTheSameParentAgainKeepsThePlaceAndTakesTheAttribute) {
    makeTree();
    const Node::Ptr other = new Node("11");
    other->handleParent(root_.ptr(), "group");
    group_->handleParent(root_.ptr(), "other");
    EXPECT_THAT(childrenOf(*root_), ElementsAre("other[10]", "group[11]"));
}

TEST_F(EntityTree, BeingGivenItsOwnParentAgainChangesNothing) {
    makeTree();
    member_->parentIs(group_);
    EXPECT_EQ(member_->parentAttrName(), "member");
    EXPECT_EQ(member_->fullName(), "lagGroup/group[10]/member[3]");
}

TEST_F(EntityTree, ADyingParentDetachesItsChildren) {
    makeTree();
    const Node::Ptr second = new Node("4");
    second->handleParent(group_.ptr(), "member");
    group_ = nullptr;
    EXPECT_EQ(member_->parent(), nullptr);
    EXPECT_EQ(member_->parentAttrName(), "");
    EXPECT_EQ(second->fullName(), "4");
    EXPECT_THAT(childrenOf(*root_), IsEmpty());
}

TEST_F(EntityTree, ADyingChildLeavesItsParent) {
    makeTree();
    member_ = nullptr;
    EXPECT_THAT(childrenOf(*group_), IsEmpty());
    EXPECT_EQ(group_->entity().size(), 0u);
}

TEST_F(EntityTree, ACycleIsRefusedAndNothingChanges) {
    makeTree();
    const auto tryParent = [](const Node::Ptr& child, const Node::Ptr& parent) {
        return messageOf<Kel::RangeException>([&] { child->parentIs(parent); });
    };
    EXPECT_EQ(tryParent(root_, member_), "entity 'lagGroup' cannot be its own ancestor");
    EXPECT_EQ(tryParent(group_, member_), "entity 'lagGroup/group[10]' cannot be its own ancestor");
    EXPECT_EQ(tryParent(root_, root_), "entity 'lagGroup' cannot be its own ancestor");
    EXPECT_EQ(root_->parent(), nullptr);
    EXPECT_EQ(member_->fullName(), "lagGroup/group[10]/member[3]");
}

TEST_F(EntityTree, AChildMayBeDetachedUnderTheIterator) {
    makeTree();
    const Node::Ptr second = new Node("4");
    second->handleParent(group_.ptr(), "member");
    std::vector<std::string> seen;
    for (Kel::Entity* child : group_->entity()) {
        seen.emplace_back(child->name().charPtr());
        child->parentIs(nullptr);
    }
    EXPECT_THAT(seen, ElementsAre("3", "4"));
    EXPECT_EQ(group_->entity().size(), 0u);
}

TEST_F(EntityTree, AnEntityMayBeNamedAfterANumber) {
    const Kel::Ptr<Kel::Entity> parent = new Kel::Entity(Kel::U64{0});
    const Kel::Ptr<Kel::Entity> child = new Kel::Entity(Kel::U64{18446744073709551615u});
    child->handleParent(parent.ptr(), "member");
    EXPECT_EQ(parent->name(), Kel::Name("0"));
    EXPECT_EQ(child->name(), Kel::Name("18446744073709551615"));
    EXPECT_EQ(child->fullName(), Kel::Name("0/member[18446744073709551615]"));
    EXPECT_EQ(parent->entity().lookup("member[18446744073709551615]"), child.ptr());
}

TEST_F(EntityTree, AllChildrenMayGoUnderTheIterator) {
    const Kel::Ptr<Kel::Entity> parent = new Kel::Entity("parent");
    std::vector<Kel::Ptr<Kel::Entity>> children;
    for (const char* name : {"a", "b", "c"}) {
        children.push_back(new Kel::Entity(name));
        children.back()->parentIs(parent);
    }
    int visited = 0;
    for (Kel::Entity* child : parent->entity()) {
        EXPECT_EQ(child->name(), Kel::Name("a"));
        ++visited;
        children.clear();
    }
    EXPECT_EQ(visited, 1);
}

TEST_F(EntityTree, AChangeOfTheParentIsAnnouncedAndTheSameParentIsNot) {
    struct Follower : Kel::PtrInterface::NotifieeConst {
        void onAttribute(Kel::AttributeId id, const void*) override { ids.push_back(id); }
        std::vector<Kel::AttributeId> ids;
    };
    const Kel::Ptr<Kel::Entity> parent = new Kel::Entity("parent");
    const Kel::Ptr<Kel::Entity> child = new Kel::Entity("child");
    child->hasNotificationActiveIs(true);
    Follower follower;
    follower.notifierIs(child);
    follower.hasNotificationActiveIs(true);
    child->parentIs(parent);
    child->parentIs(parent);
    child->parentIs(nullptr);
    EXPECT_EQ(follower.ids, (std::vector<Kel::AttributeId>{138, 138}));
}

TEST_F(EntityTree, EveryEntityClassHasTheFiveAttributesOfAnEntity) {
    std::vector<std::pair<std::string, Kel::AttributeId>> attributes;
    for (const Kel::Attribute& attribute : Node::fwkType_.attributes) {
        attributes.emplace_back(attribute.name, attribute.id);
        EXPECT_EQ(attribute.owner, &Node::fwkType_);
    }
    using Row = std::pair<std::string, Kel::AttributeId>;
    EXPECT_THAT(attributes,
                ElementsAre(Row("name", 130), Row("parent", 138), Row("parentAttrName", 139),
                            Row("fullName", 141), Row("entity", 143)));
}

TEST_F(EntityTree, TheAttributesAreReadById) {
    makeTree();
    Kel::Name text;
    EXPECT_EQ(read(*member_, 130, text), 0);
    EXPECT_EQ(text, "3");
    EXPECT_EQ(read(*member_, 139, text), 0);
    EXPECT_EQ(text, "member");
    EXPECT_EQ(read(*member_, 141, text), 0);
    EXPECT_EQ(text, "lagGroup/group[10]/member[3]");
    Kel::Ptr<Kel::Entity> parent;
    EXPECT_EQ(read(*member_, 138, parent), 0);
    EXPECT_EQ(parent, group_);
    Kel::Ptr<Kel::Entity> child;
    const Kel::Name key = "member[3]";
    EXPECT_EQ(read(*group_, 143, child, &key), 0);
    EXPECT_EQ(child, member_);
    const Kel::Name none = "member[4]";
    EXPECT_EQ(read(*group_, 143, child, &none), 0);
    EXPECT_EQ(child, nullptr);
}

TEST_F(EntityTree, TheParentIsWrittenThroughItsMutatorAndTheOtherAttributesAreNot) {
    makeTree();
    Kel::attributeIs(member_, "parent", Kel::Ptr<Kel::Entity>(root_));
    EXPECT_EQ(member_->fullName(), "lagGroup/3");
    Kel::attributeIs(member_, "parent", Kel::Ptr<Kel::Entity>());
    EXPECT_EQ(member_->parent(), nullptr);
    for (const char* name : {"name", "parentAttrName", "fullName"}) {
        EXPECT_EQ(messageOf<Kel::UnsupportedOperationException>(
                      [&] { Kel::attributeIs(member_, name, Kel::Name("x")); }),
                  std::string("Test::Node.") + name + " cannot be written");
    }
}

TEST_F(EntityTree, TheChildrenAreACollectionOfTheGenericInterface) {
    makeTree();
    const Node::Ptr second = new Node("4");
    second->handleParent(group_.ptr(), "member");
    EXPECT_EQ(Kel::attributeCount(group_, "entity"), 2u);
    EXPECT_TRUE(Kel::attributeHas(group_, "entity", Kel::Name("member[4]")));
    EXPECT_FALSE(Kel::attributeHas(group_, "entity", Kel::Name("4")));

    const Kel::Type& type = *group_->fwkType();
    auto at = type.iteratorFactory(group_.ptr(), type.attribute("entity"));
    ASSERT_NE(at, nullptr);
    std::vector<std::string> seen;
    for (; !at->atEnd(); at->advance()) {
        Kel::Name key;
        Kel::Ptr<Kel::Entity> value;
        at->key(&key);
        at->value(&value);
        EXPECT_EQ(value->component(), key);
        seen.emplace_back(key.charPtr());
    }
    EXPECT_THAT(seen, ElementsAre("member[3]", "member[4]"));
    EXPECT_EQ(type.iteratorFactory(group_.ptr(), type.attribute("name")), nullptr);
}

TEST_F(EntityTree, AnEntityAnnouncesToItsNotifiees) {
    EXPECT_NE(root_->notifieeList(), nullptr);
    EXPECT_EQ(root_->notifieeList()->size(), 0u);
}

} // namespace
