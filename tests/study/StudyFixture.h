#pragma once

#include "Definition.h"
#include "Journal.h"
#include "PointSet.h"
#include "TestHome.h"

namespace VarnelBase::Studies {

/// A home of the test's own, in which its study and what belongs to it are files.
class StudyFixture : public TestHome {
protected:
    std::string GetPath(const std::string& name) const { return home / name; }

    Definition ReadStudy(const std::string& study) const {
        Write(GetPath("study.json"), study);
        return ReadDefinition(GetPath("study.json"));
    }

    /// The journal of the study that `definition` is, with its points.
    Journal OpenJournal() const {
        Journal journal = Journal::OpenToWrite(GetPath("study.journal"));
        journal.TakePoints(definition, PointSet(definition));
        return journal;
    }

    Definition definition;
};

} // namespace VarnelBase::Studies
