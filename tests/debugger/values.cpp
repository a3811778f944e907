// SPDX-License-Identifier: MIT
// Values for gdb to look at, all alive where it stops.

#include <utility>

#include <qz/qzVariant.h>

using qz::qzVariant;

namespace {

struct Station : qzVariant::UserDataInterface {
    UserDataInterface* clone() const override { return new Station(*this); }
    bool isEqual(const UserDataInterface*) const override { return true; }
};

void stopHere()
{
    asm volatile("" : : : "memory");
}

}  // namespace

int main()
{
    const double reals[] = {1.0, 2.5, -3.0};
    qzVariant empty;
    qzVariant destroyed;
    destroyed.destroy();
    qzVariant text("say \"\xc3\xa4\"\n");
    qzVariant vector(qzVariant::VEC3D, reals);
    qzVariant date(qzVariant::DateTime(7));
    qzVariant object(new Station);
    qzVariant::qzVariantListImpl list{1, 2.5, true, "x", qzVariant()};
    qzVariant::qzVariantMapImpl map{
        {"a", 1}, {"list", list}, {"map", qzVariant::qzVariantMapImpl()}};
    qzVariant tree(map);
    qzVariant deep(1);
    for (int i = 0; i != 1000; ++i) {
        qzVariant::qzVariantListImpl level;
        level.push_back(std::move(deep));
        deep = qzVariant(std::move(level));
    }
    stopHere();
}
