# What ./dev does otherwise on a Mac: sourced there. No Mac has run this yet.

# shellcheck shell=bash
# shellcheck disable=SC2034 # read by ./dev
presets=mac-

require_packages() {
    command -v brew >/dev/null || {
        echo "dev: Homebrew (https://brew.sh) is missing" >&2
        exit 1
    }
    brew bundle check --quiet >/dev/null || brew bundle install --quiet >&2
    OPENSSL_ROOT_DIR=$(brew --prefix openssl@3)
    export OPENSSL_ROOT_DIR
}

# The libraries that a Mac lacks, as archives for both of its architectures, from their released
# sources, whose digests brew checks.
build_universal_dependencies() {
    local prefix=$PWD/build/universal-dependencies sources=build/universal-sources library architecture
    [[ ! -e $prefix/lib/libcrypto.a ]] || return 0
    rm -rf "$sources"
    mkdir -p "$prefix/lib" "$prefix/include"
    brew unpack --destdir "$sources" utf8proc pugixml openssl@3 >&2

    for library in utf8proc pugixml; do
        cmake -S "$sources/$library"-* -B "$sources/$library" -DBUILD_SHARED_LIBS=OFF \
            -DCMAKE_BUILD_TYPE=Release -DCMAKE_OSX_DEPLOYMENT_TARGET=12.0 \
            "-DCMAKE_OSX_ARCHITECTURES=arm64;x86_64" "-DCMAKE_INSTALL_PREFIX=$prefix" >&2
        cmake --build "$sources/$library" --target install >&2
    done

    for architecture in arm64 x86_64; do
        mkdir -p "$sources/$architecture"
        (
            cd "$sources/$architecture" || exit
            perl "$(echo ../openssl@3-*/Configure)" "darwin64-$architecture-cc" no-shared no-tests \
                no-docs -mmacosx-version-min=12.0
            make -j4 build_generated libcrypto.a
        ) >&2
    done
    cp -R "$sources"/openssl@3-*/include/openssl "$prefix/include/"
    cp -R "$sources/arm64/include/openssl" "$prefix/include/"
    lipo -create "$sources"/{arm64,x86_64}/libcrypto.a -output "$prefix/lib/libcrypto.a"
}

# Signs with the identity that VEL_SIGNING_IDENTITY names; without one the linker's signature, which
# holds on the machine itself, stays.
sign() {
    [[ -n ${VEL_SIGNING_IDENTITY:-} ]] || return 0
    codesign --force --timestamp --options runtime --sign "$VEL_SIGNING_IDENTITY" "$1"
}

package() {
    local version folder archive
    require_packages
    build_universal_dependencies
    build universal
    version=$(sed -n 's/^project(vel_device_trust VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
    folder=build/universal/packages/vel_device_trust-$version
    archive=$folder.zip
    rm -rf build/universal/packages
    cmake --install build/universal --prefix "$folder" --strip >/dev/null
    sign "$folder/Frameworks/vel_device_trust.framework/Versions/A"
    sign "$folder/bin/vel-posture"
    ditto -c -k --keepParent "$folder" "$archive"
    echo "$archive"
}
