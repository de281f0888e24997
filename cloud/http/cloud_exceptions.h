// What can go wrong in the cloud client.
#pragma once

#include "tolk/base/exceptions.h"

namespace tolk {

/// The privilege-event processor is switched off (code 0) or not made yet (code 1).
class ORBException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// The platform's answer is not what its interface promises, or says no.
class CloudException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// libcurl reported a failure; code is its CURLcode.
class CurlException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// The web proxy, or the server itself where there is none, is not there, or said nothing at all.
class CurlUnreachableException : public CurlException {
  using CurlException::CurlException;
};

/// The connection pool has no transfer to lend.
class CloudConnException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// No cloud connector can be found or used.
class CloudConnectorException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// What the configuration names as the cloud connector is none.
class ForeignConnectorException : public CloudConnectorException {
  using CloudConnectorException::CloudConnectorException;
};

/// The site check with integrated Windows authentication failed.
class CloudIwaException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

}  // namespace tolk
