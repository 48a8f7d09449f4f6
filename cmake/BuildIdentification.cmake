# Writes OUTPUT from INPUT. The build time is SOURCE_DATE_EPOCH where that is set, else now.
string(TIMESTAMP BUILD_TIME "%Y-%m-%dT%H:%M:%SZ" UTC)
set(PATCH_VERSION "")
configure_file("${INPUT}" "${OUTPUT}" @ONLY)
