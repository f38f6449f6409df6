// The steps of a reconciliation that read and write: the lists of containers and certificates, links that lead
// elsewhere, and repairs.
#pragma once

#include <vector>

#include "console/Containers.h"
#include "console/Reconciliation.h"
#include "console/Session.h"

// Reads the names, keys and certificates of an open container. Fails with the provider's code.
Result<HeldContainer> ReadHeldContainer(HCRYPTPROV container, const ContainerPlace& place);

// All certificates in all stores of the owners. Of the computer first: the user's stores show its certificates as well,
// and each is listed once. Fails when the stores can't all be listed.
Result<> ReadStoredCertificates(const std::vector<KeySet>& owners, std::vector<StoredCertificate>& certificates);

// Opens the container that a link names. A container that can't be opened for another reason than that it is missing is
// reported.
LinkTarget FollowToContainer(const KeyLink& link, const CERT_CONTEXT& certificate, Session& session);

// Carry out the repair of a finding: the container is opened, and the certificate in the store is linked with its key,
// or added to the personal store of the container's owner. Fail with the code of the call that failed.
Result<> CarryOut(const Finding& finding, const std::vector<HeldContainer>& containers, Session& session);
