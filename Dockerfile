# Three stages: docker build --target build|test|runtime. No container engine was at hand where this was written;
# scripts/try-dockerfile runs these lines in bare Debian systems instead.
FROM debian:bookworm-slim AS build
WORKDIR /ombrel
COPY scripts scripts
RUN scripts/bootstrap --no-tests
COPY . .
RUN cmake --preset release && cmake --build --preset release
RUN cmake --install build/release --prefix /runtime/opt/ombrel --component Runtime --strip
# What the files of the package need of the system, and nothing else of it: no shell, no package manager.
RUN find /runtime/opt/ombrel/bin /runtime/opt/ombrel/lib -type f \( -name '*.so*' -o -name ombrel \) -exec ldd {} + | \
    sed -n 's#^\t\(.* => \)\?\(/lib[^ ]*\) .*#\2#p' | sort -u | \
    xargs cp --parents --dereference --target-directory=/runtime

FROM build AS test
RUN scripts/test

FROM scratch AS runtime
COPY --from=build /runtime /
USER 65534:65534
ENTRYPOINT ["/opt/ombrel/bin/ombrel"]
