import { App } from "./app";

const root = document.getElementById("app");
if (root !== null) {
    void new App(root).enter();
}
